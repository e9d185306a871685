// The two forms of a property list, for NSPropertyList.cpp.
//
// A small file can ask for any amount of stack and memory: values nest, and in the binary form several places may
// refer to one object. So every reader spends from a budget, each occurrence of a shared object counted.
#pragma once

#include "NSPropertyList.h"

namespace platform {

inline constexpr std::size_t largestPropertyListFile = std::size_t{16} << 20;
inline constexpr std::size_t deepestPropertyList = 100;

class PropertyListBudget {
public:
    // False when the list has grown too large.
    [[nodiscard]] bool spendValue() { return values_ > 0 && values_-- > 0; }
    [[nodiscard]] bool spendBytes(std::size_t count) {
        if (count > bytes_)
            return false;
        bytes_ -= count;
        return true;
    }

private:
    std::size_t values_ = 1'000'000;
    std::size_t bytes_ = std::size_t{64} << 20;
};

[[nodiscard]] std::optional<PropertyList> readXMLPropertyList(std::string_view text);
[[nodiscard]] std::optional<PropertyList> readBinaryPropertyList(DataView data);

} // namespace platform
