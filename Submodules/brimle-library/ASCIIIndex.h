// Where a text stands in a fixed table of ASCII texts, found in constant time. Built by the compiler.
#pragma once

#include "Foundation/NSString.h"

#include <array>
#include <bit>

namespace brimle {

template <std::size_t count>
class ASCIIIndex {
public:
    // Of equal entries the first is found.
    consteval explicit ASCIIIndex(const std::array<std::string_view, count>& table) : table_(table) {
        for (std::size_t i = 0; i < count; ++i) {
            std::size_t slot = hash(table[i]) % slotCount;
            while (slots_[slot] != 0 && table[slots_[slot] - 1u] != table[i])
                slot = (slot + 1) % slotCount;
            if (slots_[slot] == 0)
                slots_[slot] = static_cast<std::uint16_t>(i + 1);
            longest_ = table[i].size() > longest_ ? table[i].size() : longest_;
        }
    }

    [[nodiscard]] constexpr std::size_t longest() const { return longest_; }

    // The index in the table, or `count`.
    [[nodiscard]] constexpr std::size_t find(platform::StringView text) const {
        if (text.size() > longest_)
            return count;
        for (std::size_t slot = hash(text) % slotCount; slots_[slot] != 0; slot = (slot + 1) % slotCount)
            if (equal(table_[slots_[slot] - 1u], text))
                return slots_[slot] - 1u;
        return count;
    }

private:
    static constexpr std::size_t slotCount = std::bit_ceil(count * 2);
    static_assert(count < 0xFFFF);

    template <class Text>
    static constexpr std::size_t hash(Text text) {
        std::uint32_t value = 0;
        for (const auto unit : text)
            value = (value ^ static_cast<std::uint16_t>(unit)) * 0x9E3779B1u;
        return value >> 12;
    }
    static constexpr bool equal(std::string_view entry, platform::StringView text) {
        if (entry.size() != text.size())
            return false;
        for (std::size_t i = 0; i < entry.size(); ++i)
            if (static_cast<char16_t>(entry[i]) != text[i])
                return false;
        return true;
    }

    const std::array<std::string_view, count>& table_;
    std::array<std::uint16_t, slotCount> slots_{}; // index + 1; 0 is free
    std::size_t longest_ = 0;
};

} // namespace brimle
