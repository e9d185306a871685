// What NSStringSearch compares instead of the text itself.
#pragma once

#include "NSStringSearch.h"

namespace platform {

// A text as a sequence of units that are equal wherever the search options call the text equal. It falls into elements,
// the least parts that a match may begin or end at: composed characters, or single ones in a literal search.
struct SearchKeys {
    static constexpr std::size_t inside = static_cast<std::size_t>(-1);

    String keys;
    // For each key and for the end: where the element that it begins stands in the text, or `inside` an element.
    std::vector<std::size_t> sources;
};

// Whether both texts are their own keys.
[[nodiscard]] bool comparesUnits(StringView text, StringView wanted, NSStringCompareOptions options);

[[nodiscard]] SearchKeys makeSearchKeys(StringView text, NSStringCompareOptions options);

} // namespace platform
