#include "CFURL.h"

#include <array>

namespace platform {
namespace {

constexpr std::size_t asciiCount = 0x80;

constexpr bool isLegalInURI(char16_t unit) {
    if ((unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || (unit >= u'0' && unit <= u'9'))
        return true;
    return unit != 0 && StringView(u"-_.!~*'();/?:@&=+$,").find(unit) != StringView::npos;
}

consteval std::array<bool, asciiCount> makeLegalInURI() {
    std::array<bool, asciiCount> legal{};
    for (std::size_t unit = 0; unit < asciiCount; ++unit)
        legal[unit] = isLegalInURI(static_cast<char16_t>(unit));
    return legal;
}

constexpr auto legalInURI = makeLegalInURI();

} // namespace

void appendPercentEscape(String& out, std::uint8_t byte) {
    constexpr StringView digits = u"0123456789ABCDEF";
    const char16_t escape[] = {u'%', digits[byte >> 4], digits[byte & 0xF]};
    out.append(escape, std::size(escape));
}

String CFURLCreateStringByAddingPercentEscapes(StringView originalString, StringView charactersToLeaveUnescaped,
                                               StringView legalURLCharactersToBeEscaped) {
    auto keptASCII = legalInURI;
    String keptOthers; // characters outside ASCII are illegal: only leaving them is a choice
    for (const char16_t unit : legalURLCharactersToBeEscaped)
        if (unit < asciiCount)
            keptASCII[unit] = false;
    for (const char16_t unit : charactersToLeaveUnescaped) {
        if (unit < asciiCount)
            keptASCII[unit] = true;
        else
            keptOthers.push_back(unit);
    }
    String out;
    out.reserve(originalString.size());
    for (std::size_t i = 0; i < originalString.size();) {
        const char16_t unit = originalString[i];
        if (unit < asciiCount ? keptASCII[unit] : keptOthers.find(unit) != String::npos) {
            out.push_back(unit);
            ++i;
            continue;
        }
        const bool isPair =
            (unit & 0xFC00) == 0xD800 && i + 1 < originalString.size() && (originalString[i + 1] & 0xFC00) == 0xDC00;
        const std::size_t length = isPair ? 2 : 1;
        for (const char byte : lossyUTF8String(originalString.substr(i, length)))
            appendPercentEscape(out, static_cast<std::uint8_t>(byte));
        i += length;
    }
    return out;
}

} // namespace platform
