#include "NSURLPath.h"

namespace platform {

NSURL URLByDeletingLastPathComponent(const NSURL& url) {
    StringView text = url.absoluteString();
    text = text.substr(0, text.find_first_of(u"?#"));
    std::size_t begin = url.scheme() ? text.find(u':') + 1 : 0;
    if (text.substr(begin).starts_with(u"//"))
        begin += 2; // a host, perhaps an empty one
    const std::size_t path = text.find(u'/', begin);
    if (path == StringView::npos)
        return url;
    while (text.size() > path + 1 && text.ends_with(u'/'))
        text.remove_suffix(1);
    if (text.size() <= path + 1)
        return url;
    return NSURL::URLWithString(text.substr(0, text.rfind(u'/') + 1)).value_or(url);
}

} // namespace platform
