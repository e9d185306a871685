#include "brimle/NSString+BrimleURL.h"

#include "Foundation/CFURL.h"
#include "Foundation/NSStringCase.h"

#include <algorithm>
#include <array>

namespace brimle {
namespace {

constexpr StringView schemeEnd = u"://";

bool holds(StringView text, StringView part) {
    return text.find(part) != StringView::npos;
}

// The characters of a URL that mean something between its components; U+FFFC stands for an embedded picture.
constexpr StringView escapedInComponents = u"\uFFFC=,!$&'()*+;@?\n\"<>#\t :/";
static_assert(escapedInComponents.size() == 23);

// Differs on purpose from the set above: a whole address keeps its "!", "*", "@", ":" and "/".
constexpr bool isUnsafeInAddress(std::size_t byte) {
    return byte < 0x20 || byte >= 0x80 || byte == 0x20 || (byte >= 0x22 && byte <= 0x29) || byte == 0x2B ||
           byte == 0x2C || (byte >= 0x3B && byte <= 0x3F) || byte == '{' || byte == '}';
}

consteval std::array<bool, 256> makeUnsafeInAddress() {
    std::array<bool, 256> isUnsafe{};
    for (std::size_t byte = 0; byte < isUnsafe.size(); ++byte)
        isUnsafe[byte] = isUnsafeInAddress(byte);
    return isUnsafe;
}

constexpr auto unsafeInAddress = makeUnsafeInAddress();

} // namespace

String br_validURLString(StringView text) {
    if (holds(text, schemeEnd))
        return String(text);
    return br_stringByExtractingScheme(text).append(schemeEnd).append(text);
}

String br_stringByExtractingScheme(StringView text) {
    if (const std::size_t end = text.find(schemeEnd); end != StringView::npos)
        return String(text.substr(0, end));
    return holds(text, u":443") ? u"https" : u"http";
}

String br_stringWithURLProtocol(StringView text) {
    if (holds(text, schemeEnd))
        return String(text);
    // Without the colon, unlike br_stringByExtractingScheme: names such as "shop443.example" are secure sites too.
    return String(holds(text, u"443") ? u"https://" : u"http://").append(text);
}

String br_stringAsValidURLString(StringView text) {
    return platform::CFURLCreateStringByAddingPercentEscapes(text, u"", escapedInComponents);
}

std::optional<String> br_stringAsHttpURLString(StringView text) {
    const auto bytes = platform::UTF8String(text);
    if (!bytes)
        return std::nullopt;
    String out;
    out.reserve(bytes->size());
    for (const char c : *bytes) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (unsafeInAddress[byte])
            platform::appendPercentEscape(out, byte);
        else
            out.push_back(byte);
    }
    return out;
}

String br_stringByExtractingURI(StringView text) {
    return String(text.substr(0, text.find(u'?')));
}

String br_stringByExtractingFullDomain(StringView text) {
    const std::size_t schemeAt = text.find(schemeEnd);
    const StringView rest = schemeAt == StringView::npos ? text : text.substr(schemeAt + schemeEnd.size());
    const auto* const end = std::find_if(rest.begin(), rest.end(),
                                         [](char16_t unit) { return unit == u':' || unit == u'/' || unit == u'?'; });
    return platform::lowercaseString(rest.substr(0, static_cast<std::size_t>(end - rest.begin())));
}

} // namespace brimle
