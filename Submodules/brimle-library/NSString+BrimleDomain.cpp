#include "brimle/NSString+BrimleDomain.h"

#include "brimle/ASCIIIndex.h"
#include "brimle/NSString+BrimleURL.h"
#include "brimle/TLDs.h"

#include "Foundation/NSFormat.h"
#include "Foundation/NSStringCase.h"
#include "Foundation/NSURL.h"

#include <algorithm>

namespace brimle {
namespace {

constexpr ASCIIIndex suffixes(TLDs);

// The search is for the first entry that ends the host. An entry of three labels never is: the entry made of its last
// two labels stands before it and ends every host that it ends. So only the last two labels need looking up.
consteval bool threeLabelsStandBehindTheirParents() {
    for (std::size_t i = 0; i < TLDs.size(); ++i) {
        const std::size_t second = TLDs[i].find('.', 1);
        if (TLDs[i].find('.', second + 1) == std::string_view::npos)
            continue;
        std::size_t parent = 0;
        while (TLDs[parent] != TLDs[i].substr(second))
            ++parent;
        if (parent > i)
            return false;
    }
    return true;
}
static_assert(threeLabelsStandBehindTheirParents());

constexpr StringView district = u".k12";
constexpr StringView unitedStates = u".us";
constexpr std::size_t stateLength = 3; // UTF-8 bytes between the two, whatever they are

std::size_t startBehindDot(StringView host, std::size_t before) {
    const std::size_t dot = before == 0 ? StringView::npos : host.rfind(u'.', before - 1);
    return dot == StringView::npos ? 0 : dot + 1;
}

// Where ".k12" begins in a school district's host. What stands around it is never examined, only measured, so no text
// needs to be made of bytes for it: the lengths of the characters do.
std::optional<std::size_t> districtPosition(StringView host) {
    if (!host.ends_with(unitedStates))
        return std::nullopt;
    std::size_t position = host.size() - unitedStates.size();
    std::size_t bytes = 0;
    while (bytes < stateLength && position > 0) {
        const char16_t unit = host[--position];
        const bool isPair =
            (unit & 0xFC00) == 0xDC00 && position > 0 && (host[position - 1] & 0xFC00) == 0xD800; // four bytes
        bytes += isPair ? stateLength + 1 : unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
    }
    const StringView head = host.substr(0, position);
    if (bytes != stateLength || !head.ends_with(district) || head.size() == district.size())
        return std::nullopt;
    return position - district.size();
}

// Where the registrable domain begins in a host that is not empty and not a number. Every cut is beside a ".", so units
// serve as well as bytes.
std::size_t registrableStart(StringView host) {
    if (const auto position = districtPosition(host))
        return startBehindDot(host, *position);
    if (const std::size_t last = host.rfind(u'.'); last != StringView::npos && last > 0) {
        const std::size_t previous = host.rfind(u'.', last - 1);
        // A host that is itself a suffix is not below it.
        if (previous != StringView::npos && previous > 0 && suffixes.find(host.substr(previous)) != TLDs.size())
            return startBehindDot(host, previous);
    }
    // The last two labels; a dot at the very end separates nothing.
    const std::size_t dot = host.size() < 2 ? StringView::npos : host.rfind(u'.', host.size() - 2);
    return dot == StringView::npos ? 0 : startBehindDot(host, dot);
}

} // namespace

String br_stringByExtractingHostAndPort(StringView text) {
    const auto url = platform::NSURL::URLWithString(text);
    std::optional<String> port;
    if (url && url->port())
        port = platform::stringWithFormat("%d", *url->port());
    return platform::stringWithFormat("%@:%@", url ? url->host() : std::nullopt, port);
}

bool br_isIPAddress(StringView text) {
    return std::all_of(text.begin(), text.end(),
                       [](char16_t unit) { return unit == u'.' || (unit >= u'0' && unit <= u'9'); });
}

String br_stringByExtracting2ndTLD(StringView text) {
    String host = br_stringByExtractingFullDomain(text);
    if (!br_isIPAddress(host)) // an empty host counts as one
        host.erase(0, registrableStart(host));
    return host;
}

String br_urlAsLoginTitle(StringView text) {
    const String domain = br_stringByExtracting2ndTLD(text);
    return platform::capitalizedString(StringView(domain).substr(0, domain.find(u'.')));
}

} // namespace brimle
