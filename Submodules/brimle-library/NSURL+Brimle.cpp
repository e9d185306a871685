#include "brimle/NSURL+Brimle.h"

#include "brimle/DRLogger.h"
#include "brimle/NSString+BrimleURL.h"

#include "Foundation/NSStringSearch.h"

namespace brimle {
namespace {

// The host is looked for from the front of the whole address, in the case that lower-casing left it in: the host "t" is
// found inside "http", and a host written with capital letters is not found at all. Addresses stored by earlier
// releases were resolved that way, and the same text must go on giving the same page.
std::optional<NSURL> rebuilt(StringView address, URLFromParts fromParts) {
    const String scheme = br_stringByExtractingScheme(address);
    const String host = br_stringByExtractingFullDomain(address);
    const auto found = platform::rangeOfString(address, host);
    if (!found)
        return std::nullopt;
    const StringView rest = address.substr(found->location + found->length);
    const std::size_t slash = rest.find(u'/');
    if (slash == StringView::npos)
        return std::nullopt;
    return fromParts(scheme, host, rest.substr(slash));
}

} // namespace

std::optional<NSURL> br_URLWithString(std::optional<StringView> text, URLFromParts fromParts) {
    if (!text || text->empty())
        return std::nullopt;
    const String address = br_validURLString(*text);
    if (auto url = NSURL::URLWithString(address))
        return url;
    try {
        if (auto url = rebuilt(address, fromParts))
            return url;
    } catch (const platform::NSException& exception) {
        constexpr int guardLine = 40; // the name under which support knows this guard, not a position in this file
        DRLogger::logger()->logException_file_line(exception, "Submodules/brimle-library/NSURL+Brimle", guardLine);
    }
    return NSURL::URLWithString(br_stringByExtractingURI(address));
}

} // namespace brimle
