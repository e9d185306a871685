// URLs from any text: what is accepted is legal, comes back as it was and can be rebuilt from its parts.
#include "FuzzText.h"
#include "brimle/NSString+BrimleURL.h"
#include "brimle/NSURL+Brimle.h"

#include <algorithm>

namespace {

// Said once more and differently: the characters that RFC 2396 lets stand anywhere in a URI.
bool isLegal(platform::StringView text) {
    const auto isHex = [](char16_t c) {
        return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t c = text[i];
        if (c <= u' ' || c >= 0x7F || platform::StringView(u"\"<>\\^`{|}").find(c) != platform::StringView::npos)
            return false;
        if (c == u'%' && (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])))
            return false;
    }
    return std::count(text.begin(), text.end(), u'#') <= 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using fuzzing::require;
    const platform::String text = fuzzing::textOf(data, size);
    if (const auto url = platform::NSURL::URLWithString(text)) {
        require(url->absoluteString() == text, "not the text given");
        require(isLegal(text), "illegal text accepted");
        static_cast<void>(url->port());
        if (url->scheme() && url->host() && url->path())
            require(platform::NSURL::initWithScheme_host_path(*url->scheme(), *url->host(), *url->path()).has_value(),
                    "not rebuilt from its parts");
    }
    if (const auto url = brimle::br_URLWithString(text))
        require(isLegal(url->absoluteString()), "illegal URL made");
    const platform::String component = brimle::br_stringAsValidURLString(text);
    require(isLegal(component) && component.find_first_of(u":/?#[]@!$&'()*+,;=") == platform::String::npos,
            "component");
    const auto address = brimle::br_stringAsHttpURLString(text);
    require(address.has_value() == platform::UTF8String(text).has_value(), "address");
    return 0;
}
