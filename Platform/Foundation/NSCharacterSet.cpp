#include "NSCharacterSet.h"

#include <algorithm>
#include <bitset>
#include <unicode/uchar.h>

namespace platform {
namespace {

constexpr char32_t lastCharacter = 0x10FFFF;
constexpr std::size_t commonCount = 0x100;

} // namespace

struct NSCharacterSet::Contents {
    std::vector<Range> ranges; // ascending, apart from each other
    std::bitset<commonCount> common;
};

NSCharacterSet::NSCharacterSet(std::vector<Range> ranges) {
    std::sort(ranges.begin(), ranges.end(), [](const Range& a, const Range& b) { return a.first < b.first; });
    auto contents = std::make_shared<Contents>();
    for (const Range& range : ranges) {
        auto& merged = contents->ranges;
        if (!merged.empty() && range.first <= merged.back().last + 1)
            merged.back().last = std::max(merged.back().last, range.last);
        else
            merged.push_back(range);
    }
    for (const Range& range : contents->ranges)
        for (std::size_t c = range.first; c <= range.last && c < commonCount; ++c)
            contents->common.set(c);
    contents_ = std::move(contents);
}

const NSCharacterSet& NSCharacterSet::whitespaceAndNewlineCharacterSet() {
    static const NSCharacterSet set = [] {
        std::vector<Range> ranges;
        for (char32_t c = 0; c <= 0xFFFF; ++c) // none stands further up
            if (u_isUWhiteSpace(static_cast<UChar32>(c)))
                ranges.push_back({c, c});
        return NSCharacterSet(std::move(ranges));
    }();
    return set;
}

NSCharacterSet NSCharacterSet::characterSetWithCharactersInString(StringView characters) {
    std::vector<Range> ranges;
    for (std::size_t i = 0; i < characters.size();) {
        char32_t character = 0;
        i = nextCharacter(characters, i, &character);
        ranges.push_back({character, character});
    }
    return NSCharacterSet(std::move(ranges));
}

NSCharacterSet NSCharacterSet::characterSetWithRange(char32_t first, char32_t last) {
    return NSCharacterSet(first <= last ? std::vector<Range>{{first, last}} : std::vector<Range>{});
}

NSCharacterSet NSCharacterSet::invertedSet() const {
    std::vector<Range> gaps;
    char32_t next = 0;
    for (const Range& range : contents_->ranges) {
        if (range.first > next)
            gaps.push_back({next, range.first - 1});
        next = range.last + 1;
    }
    if (next <= lastCharacter)
        gaps.push_back({next, lastCharacter});
    return NSCharacterSet(std::move(gaps));
}

bool NSCharacterSet::longCharacterIsMember(char32_t character) const {
    if (character < commonCount)
        return contents_->common[character];
    const auto& ranges = contents_->ranges;
    const auto above = std::upper_bound(ranges.begin(), ranges.end(), character,
                                        [](char32_t c, const Range& range) { return c < range.first; });
    return above != ranges.begin() && character <= std::prev(above)->last;
}

std::size_t NSCharacterSet::nextCharacter(StringView text, std::size_t position, char32_t* character) {
    const char32_t unit = text[position++];
    *character = unit;
    if ((unit & 0xFC00) == 0xD800 && position < text.size() && (text[position] & 0xFC00) == 0xDC00)
        *character = 0x10000 + ((unit & 0x3FF) << 10) + (text[position++] & 0x3FFu);
    return position;
}

bool containsCharacterFromSet(StringView text, const NSCharacterSet& set) {
    for (std::size_t i = 0; i < text.size();) {
        char32_t character = 0;
        i = NSCharacterSet::nextCharacter(text, i, &character);
        if (set.longCharacterIsMember(character))
            return true;
    }
    return false;
}

StringView trimmed(StringView text, const NSCharacterSet& set) {
    std::size_t begin = 0;
    while (begin < text.size()) {
        char32_t character = 0;
        const std::size_t next = NSCharacterSet::nextCharacter(text, begin, &character);
        if (!set.longCharacterIsMember(character))
            break;
        begin = next;
    }
    std::size_t end = text.size();
    while (end > begin) {
        const bool isPair =
            end - begin >= 2 && (text[end - 1] & 0xFC00) == 0xDC00 && (text[end - 2] & 0xFC00) == 0xD800;
        const std::size_t previous = end - (isPair ? 2 : 1);
        char32_t character = 0;
        (void)NSCharacterSet::nextCharacter(text, previous, &character);
        if (!set.longCharacterIsMember(character))
            break;
        end = previous;
    }
    return text.substr(begin, end - begin);
}

} // namespace platform
