#include "NSString.h"

#include <algorithm>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace platform {
namespace {

std::string homeDirectory(const std::string& user) {
    if (user.empty()) {
        if (const char* home = std::getenv("HOME"); home && *home)
            return home;
    }
    const passwd* entry = user.empty() ? getpwuid(geteuid()) : getpwnam(user.c_str());
    return entry && entry->pw_dir ? entry->pw_dir : "";
}

} // namespace

String stringByExpandingTildeInPath(StringView path) {
    if (!path.starts_with(u'~'))
        return String(path);
    const std::size_t end = std::min(path.find(u'/'), path.size());
    const auto user = UTF8String(path.substr(1, end - 1));
    const std::string home = user ? homeDirectory(*user) : "";
    if (home.empty())
        return String(path);
    return stringWithUTF8OrLatin1(home) + String(path.substr(end));
}

namespace {

StringView withoutTrailingSlashes(StringView path) {
    const std::size_t last = path.find_last_not_of(u'/');
    return last == StringView::npos ? path.substr(0, path.empty() ? 0 : 1) : path.substr(0, last + 1);
}

} // namespace

String stringByDeletingPathExtension(StringView path) {
    path = withoutTrailingSlashes(path);
    const std::size_t slash = path.find_last_of(u'/');
    const std::size_t component = slash == StringView::npos ? 0 : slash + 1;
    const std::size_t dot = path.find_last_of(u'.');
    const bool hasExtension = dot != StringView::npos && dot > component && dot + 1 < path.size();
    return String(hasExtension ? path.substr(0, dot) : path);
}

String stringByAppendingPathComponent(StringView path, StringView component) {
    String result(withoutTrailingSlashes(path));
    const std::size_t first = component.find_first_not_of(u'/');
    if (first == StringView::npos)
        return result;
    if (!result.empty() && result.back() != u'/')
        result += u'/';
    return result.append(withoutTrailingSlashes(result.empty() ? component : component.substr(first)));
}

String stringByDeletingLastPathComponent(StringView path) {
    const std::size_t lastCharacter = path.find_last_not_of(u'/');
    if (lastCharacter == StringView::npos)
        return path.empty() ? String() : String(u"/");
    const std::size_t slash = path.find_last_of(u'/', lastCharacter);
    if (slash == StringView::npos)
        return String();
    const std::size_t end = path.find_last_not_of(u'/', slash);
    return end == StringView::npos ? String(u"/") : String(path.substr(0, end + 1));
}

} // namespace platform
