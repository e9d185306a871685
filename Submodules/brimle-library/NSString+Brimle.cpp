#include "brimle/NSString+Brimle.h"

#include "Foundation/CFUUID.h"
#include "Foundation/NSBundle.h"
#include "Foundation/NSFormat.h"

#include <regex.h>

namespace brimle {
namespace {

constexpr char16_t horizontalEllipsis = 0x2026;
constexpr char16_t blackCircle = 0x25CF;
constexpr char16_t bullet = 0x2022;
constexpr std::size_t placeholderLength = 10;

class Regex {
public:
    explicit Regex(const char* pattern) : compiles_(regcomp(&regex_, pattern, REG_EXTENDED) == 0) {}
    ~Regex() {
        if (compiles_)
            regfree(&regex_);
    }
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

    [[nodiscard]] bool matches(const char* text) const {
        regmatch_t slots[2];
        return compiles_ && regexec(&regex_, text, std::size(slots), slots, 0) == 0;
    }

private:
    regex_t regex_{};
    bool compiles_;
};

// Behind the end of the line at `position`, its break included.
std::size_t endOfLine(StringView text, std::size_t position) {
    const std::size_t end = text.find_first_of(u"\n\r\u0085\u2028\u2029", position);
    if (end == StringView::npos)
        return text.size();
    return end + (text.substr(end).starts_with(u"\r\n") ? 2 : 1);
}

} // namespace

String br_stringWithCharacter(std::uint32_t character) {
    if (character <= 0xFFFF)
        return String(1, static_cast<char16_t>(character));
    return {static_cast<char16_t>(((character - 0x10000) >> 10 & 0x3FF) | 0xD800),
            static_cast<char16_t>((character & 0x3FF) | 0xDC00)};
}

const String& br_horizontalEllipsisString() {
    static const String ellipsis = br_stringWithCharacter(horizontalEllipsis);
    return ellipsis;
}

bool br_isEmpty(std::optional<StringView> text) {
    return !text || text->empty();
}

String br_firstLetter(StringView text) {
    return text.empty() ? String(u" ") : String(text.substr(0, 1));
}

String br_asBullets(StringView) {
    return String(placeholderLength, blackCircle);
}

String concealedString() {
    return String(placeholderLength, bullet);
}

String brlStringByReplacingCharactersInRange_withString(StringView text, NSRange range,
                                                        std::optional<StringView> replacement) {
    if (range.location > text.size() || range.length > text.size() - range.location)
        return String(text);
    return platform::stringWithFormat("%@%@%@", text.substr(0, range.location), replacement,
                                      text.substr(range.location + range.length));
}

bool br_matchesRegex(StringView text, StringView pattern) {
    const auto patternBytes = platform::UTF8String(pattern);
    const auto textBytes = platform::UTF8String(text);
    return patternBytes && textBytes && Regex(patternBytes->c_str()).matches(textBytes->c_str());
}

String br_trim(StringView text) {
    return String(platform::trimmed(text, NSCharacterSet::whitespaceAndNewlineCharacterSet()));
}

bool br_containsCharacterInSet(StringView text, const NSCharacterSet& set) {
    return platform::containsCharacterFromSet(text, set);
}

bool br_containsString_options(StringView text, std::optional<StringView> wanted,
                               platform::NSStringCompareOptions options) {
    return !br_isEmpty(wanted) && platform::rangeOfString(text, *wanted, options).has_value();
}

bool br_containsString(StringView text, std::optional<StringView> wanted) {
    return br_containsString_options(text, wanted, 0);
}

std::size_t br_numberOfLines(StringView text) {
    return br_numberOfLinesLimitedTo(text, -1);
}

std::size_t br_numberOfLinesLimitedTo(StringView text, long limit) {
    const auto most = static_cast<std::size_t>(limit);
    std::size_t count = 0;
    for (std::size_t position = 0; position < text.size() && count < most; ++count)
        position = endOfLine(text, position);
    return count;
}

String br_uuid() {
    String out;
    for (const std::uint8_t byte : platform::CFUUIDCreate().bytes)
        out += platform::stringWithFormat("%02X", byte);
    return out;
}

String br_humanReadableSizeStringForBytes(std::uint64_t bytes) {
    constexpr std::uint64_t kilo = 1024;
    constexpr std::uint64_t mega = kilo * kilo;
    constexpr std::uint64_t giga = kilo * mega;
    const auto filled = [](StringView key, platform::FormatArgument value) {
        const String format = platform::NSBundle::mainBundle().localizedFormatForKey(key);
        return platform::stringWithRuntimeFormat(StringView(format), std::span(&value, 1));
    };
    if (bytes <= kilo)
        return filled(u"%llu bytes", bytes);
    if (bytes <= mega)
        return filled(u"%llu KB", bytes / kilo);
    if (bytes <= giga)
        return filled(u"%.1f MB", static_cast<double>(bytes) / static_cast<double>(mega));
    return filled(u"%.1f GB", static_cast<double>(bytes) / static_cast<double>(giga));
}

} // namespace brimle
