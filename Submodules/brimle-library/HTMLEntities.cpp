#include "brimle/ASCIIIndex.h"
#include "brimle/Latin1Entities.h"
#include "brimle/NSString+BrimleHTML.h"

#include "Foundation/NSCharacterSet.h"

#include <algorithm>
#include <limits>

namespace brimle {
namespace {

constexpr ASCIIIndex entities(Latin1Entities);
constexpr char16_t firstEntityCharacter = 160;

// An entity holds no character that another one could begin with or be made of, and becomes a character that is in
// none: one pass from left to right finds what a pass for each entity would.
String withNamedEntitiesDecoded(StringView text) {
    String out;
    out.reserve(text.size());
    std::size_t copied = 0;
    for (std::size_t i = text.find(u'&'); i != StringView::npos; i = text.find(u'&', i)) {
        const std::size_t length = text.substr(i, entities.longest()).find(u';') + 1; // 0 when there is none
        const std::size_t index = entities.find(text.substr(i, length));
        if (length == 0 || index == Latin1Entities.size()) {
            ++i;
            continue;
        }
        out.append(text.substr(copied, i - copied)).push_back(static_cast<char16_t>(firstEntityCharacter + index));
        i += length;
        copied = i;
    }
    out.append(text.substr(copied));
    return out;
}

StringView withoutLeadingWhiteSpace(StringView text) {
    const auto& whiteSpace = platform::NSCharacterSet::whitespaceAndNewlineCharacterSet();
    const auto isText = [&whiteSpace](char16_t unit) { return !whiteSpace.longCharacterIsMember(unit); };
    return text.substr(static_cast<std::size_t>(std::find_if(text.begin(), text.end(), isText) - text.begin()));
}

int digitValue(char16_t unit) {
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const auto lower = static_cast<char16_t>(unit | 0x20);
    return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10 : std::numeric_limits<int>::max();
}

// The digits that the text begins with, at most `limit`.
std::int64_t leadingNumber(StringView text, int base, std::int64_t limit) {
    std::int64_t value = 0;
    for (const char16_t unit : text) {
        const int digit = digitValue(unit);
        if (digit >= base)
            break;
        value = std::min(value * base + digit, limit);
    }
    return value;
}

// Too large a number is the largest one of its kind: 32 bits, unsigned in hexadecimal and signed in decimal.
std::int64_t hexadecimalNumber(StringView text) {
    text = withoutLeadingWhiteSpace(text);
    if (text.starts_with(u"0x") || text.starts_with(u"0X"))
        text.remove_prefix(2);
    return leadingNumber(text, 16, std::numeric_limits<std::uint32_t>::max());
}

std::int64_t decimalNumber(StringView text) {
    constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
    text = withoutLeadingWhiteSpace(text);
    const bool isNegative = text.starts_with(u'-');
    if (isNegative || text.starts_with(u'+'))
        text.remove_prefix(1);
    const std::int64_t value = leadingNumber(text, 10, isNegative ? largest + 1 : largest);
    return isNegative ? -value : value;
}

char16_t referencedUnit(StringView number) {
    const std::int64_t value = number.starts_with(u'x') ? hexadecimalNumber(number.substr(1)) : decimalNumber(number);
    return static_cast<char16_t>(value);
}

// The unit that a reference became is still looked at: an ampersand may open the next reference. What stands before it
// is finished.
String withNumericReferencesDecoded(StringView text) {
    constexpr StringView opening = u"&#";
    String out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const bool chains = !out.empty() && out.back() == u'&' && text[i] == u'#';
        std::size_t numberAt = i + 1;
        if (!chains) {
            const std::size_t found = text.find(opening, i);
            out.append(text.substr(i, found - i));
            if (found == StringView::npos)
                return out;
            numberAt = found + opening.size();
            i = found;
        }
        const std::size_t end = text.find(u';', numberAt);
        if (end == StringView::npos) {
            out.append(text.substr(i));
            return out;
        }
        if (chains)
            out.pop_back();
        out.push_back(referencedUnit(text.substr(numberAt, end - numberAt)));
        i = end + 1;
    }
    return out;
}

} // namespace

String br_stringByDecodingHTMLEntities(StringView text) {
    if (text.find(u'&') == StringView::npos)
        return String(text);
    return withNumericReferencesDecoded(withNamedEntitiesDecoded(text));
}

} // namespace brimle
