#include "NSURL.h"

#include "CFURL.h"

#include <algorithm>
#include <array>
#include <limits>

namespace platform {
namespace {

// The character classes of RFC 2396, section 2 and 3, as bits.
enum CharacterClass : std::uint8_t {
    Alpha = 1,
    Digit = 2,
    SchemeSign = 4,
    Path = 8,       // pchar, ";" and "/"
    URIC = 16,      // reserved and unreserved, with the brackets of RFC 2732
    Authority = 32, // reg_name and userinfo
    IPv6 = 64,
    Hex = 128
};

constexpr std::size_t asciiCount = 0x80;

consteval std::array<std::uint8_t, asciiCount> makeClasses() {
    std::array<std::uint8_t, asciiCount> classes{};
    const auto add = [&classes](std::string_view characters, int bits) {
        for (const char c : characters) {
            std::uint8_t& entry = classes[static_cast<unsigned char>(c)];
            entry = static_cast<std::uint8_t>(entry | bits);
        }
    };
    add("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", Alpha | Path | URIC | Authority);
    add("0123456789", Digit | Path | URIC | Authority | IPv6 | Hex);
    add("abcdefABCDEF", IPv6 | Hex);
    add(":.", IPv6);
    add("+-.", SchemeSign);
    add("-_.!~*'()", Path | URIC | Authority);
    add(":@&=+$,;", Path | URIC | Authority);
    add("/", Path | URIC);
    add("?[]", URIC);
    return classes;
}

constexpr auto classes = makeClasses();

constexpr bool is(char16_t unit, int bits) {
    return unit < asciiCount && (classes[unit] & bits) != 0;
}

constexpr bool allAre(StringView text, int bits) {
    return std::all_of(text.begin(), text.end(), [bits](char16_t unit) { return is(unit, bits); });
}

// Characters of the class, and escapes.
bool isWellFormed(StringView text, int bits) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'%') {
            if (i + 2 >= text.size() || !is(text[i + 1], Hex) || !is(text[i + 2], Hex))
                return false;
            i += 2;
        } else if (!is(text[i], bits)) {
            return false;
        }
    }
    return true;
}

bool isScheme(StringView text) {
    return !text.empty() && is(text[0], Alpha) && allAre(text, Alpha | Digit | SchemeSign);
}

bool isIPv6Literal(StringView text) {
    return allAre(text, IPv6) && std::count(text.begin(), text.end(), u':') >= 2;
}

constexpr unsigned hexValue(char16_t digit) {
    return static_cast<unsigned>(digit <= u'9' ? digit - u'0' : (digit | 0x20) - u'a' + 10);
}

// A well-formed text with its escapes resolved; as written when the bytes behind the escapes are not UTF-8.
String unescaped(StringView text) {
    if (text.find(u'%') == StringView::npos)
        return String(text);
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'%') {
            bytes.push_back(static_cast<char>(hexValue(text[i + 1]) << 4 | hexValue(text[i + 2])));
            i += 2;
        } else {
            bytes.push_back(static_cast<char>(text[i]));
        }
    }
    auto decoded = stringWithUTF8(bytes);
    return decoded ? *std::move(decoded) : String(text);
}

} // namespace

std::optional<NSURL> NSURL::URLWithString(StringView text) {
    NSURL url;
    url.text_ = text;
    if (!url.parse())
        return std::nullopt;
    return url;
}

std::optional<NSURL> NSURL::initWithScheme_host_path(StringView scheme, StringView host, StringView path) {
    if (!isScheme(scheme) || (!path.empty() && path[0] != u'/'))
        return std::nullopt;
    String text(scheme);
    text += u"://";
    if (isIPv6Literal(host))
        text.append(u"[").append(host).append(u"]");
    else if (host.size() >= 2 && host.front() == u'[' && host.back() == u']')
        text += host;
    else
        text += CFURLCreateStringByAddingPercentEscapes(host, u"", u"/?");
    text += CFURLCreateStringByAddingPercentEscapes(path, u"", u";?");
    return URLWithString(text);
}

bool NSURL::parse() {
    const StringView text = text_;
    std::size_t begin = 0;
    std::size_t end = text.size();
    if (const std::size_t hash = text.find(u'#'); hash != StringView::npos) {
        fragment_ = {hash + 1, end - hash - 1, true};
        end = hash;
        if (!isWellFormed(view(fragment_), URIC))
            return false;
    }
    const std::size_t sign = text.find_first_of(u":/?#");
    if (sign < end && text[sign] == u':') {
        // A relative reference may not hold a colon in its first segment: what stands before it must be a scheme.
        if (!isScheme(text.substr(0, sign)))
            return false;
        scheme_ = {0, sign, true};
        begin = sign + 1;
        if (begin == end || text[begin] != u'/')
            return isWellFormed(text.substr(begin, end - begin), URIC); // opaque: no parts
    }
    return parseHierarchy(begin, end);
}

bool NSURL::parseHierarchy(std::size_t begin, std::size_t end) {
    const StringView text = StringView(text_).substr(0, end);
    if (const std::size_t mark = text.find(u'?', begin); mark != StringView::npos) {
        query_ = {mark + 1, end - mark - 1, true};
        end = mark;
        if (!isWellFormed(view(query_), URIC))
            return false;
    }
    if (text.substr(begin, end - begin).starts_with(u"//")) {
        const std::size_t slash = std::min(text.find(u'/', begin + 2), end);
        if (!parseAuthority(begin + 2, slash))
            return false;
        begin = slash;
    }
    path_ = {begin, end - begin, true};
    return isWellFormed(view(path_), Path);
}

bool NSURL::parseAuthority(std::size_t begin, std::size_t end) {
    const StringView text = text_;
    // The last "@" ends the user information: what an engine connects to stands behind it.
    if (const std::size_t at = text.substr(begin, end - begin).rfind(u'@'); at != StringView::npos) {
        const StringView information = text.substr(begin, at);
        if (!isWellFormed(information, Authority))
            return false;
        const std::size_t colon = information.find(u':');
        user_ = {begin, std::min(colon, at), true};
        if (colon != StringView::npos)
            password_ = {begin + colon + 1, at - colon - 1, true};
        begin += at + 1;
    }
    const StringView place = text.substr(begin, end - begin);
    std::size_t hostEnd = 0;
    if (place.starts_with(u'[')) {
        const std::size_t bracket = place.find(u']');
        if (bracket == StringView::npos || !isIPv6Literal(place.substr(1, bracket - 1)))
            return false;
        host_ = {begin + 1, bracket - 1, true};
        hostEnd = bracket + 1;
        if (hostEnd < place.size() && place[hostEnd] != u':')
            return false;
    } else {
        if (!isWellFormed(place, Authority))
            return false;
        hostEnd = std::min(place.find(u':'), place.size());
        host_ = {begin, hostEnd, hostEnd > 0};
    }
    if (hostEnd < place.size())
        port_ = {begin + hostEnd + 1, place.size() - hostEnd - 1, true};
    return isWellFormed(view(port_), Authority);
}

std::optional<String> NSURL::written(Part part) const {
    return part.present ? std::optional<String>(view(part)) : std::nullopt;
}

std::optional<String> NSURL::host() const {
    return host_.present ? std::optional<String>(unescaped(view(host_))) : std::nullopt;
}

std::optional<String> NSURL::path() const {
    return path_.present ? std::optional<String>(unescaped(view(path_))) : std::nullopt;
}

std::optional<int> NSURL::port() const {
    const StringView digits = view(port_);
    if (digits.empty() || !allAre(digits, Digit))
        return std::nullopt;
    long long value = 0;
    for (const char16_t digit : digits) {
        value = value * 10 + (digit - u'0');
        if (value > std::numeric_limits<int>::max())
            return std::nullopt;
    }
    return static_cast<int>(value);
}

} // namespace platform
