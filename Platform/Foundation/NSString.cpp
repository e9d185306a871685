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
