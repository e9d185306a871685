#include "brimle/BRFiles.h"

#include "Foundation/CFUUID.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSURLPath.h"
#include "Foundation/NSWorkspace.h"
#include "brimle/DRLogger.h"

#include <algorithm>

namespace brimle {
namespace {

using platform::NSError;
using platform::NSFileManager;

bool isOnMountedVolume(StringView path, const VolumeRule& volumes) {
    const std::vector<String> mounted = volumes.mountedLocalVolumePaths();
    return std::any_of(mounted.begin(), mounted.end(), [&](const String& volume) { return path.starts_with(volume); });
}

} // namespace

String createUUID() {
    return platform::CFUUIDCreateString(platform::CFUUIDCreate());
}

NSDictionary extractFolderAndTitle(std::optional<StringView> path) {
    constexpr char16_t separator = u'\\';
    if (!path)
        return {};
    StringView folder = *path;
    while (folder.ends_with(separator))
        folder.remove_suffix(1);
    StringView title;
    for (std::size_t at = folder.rfind(separator); at != StringView::npos && title.empty();
         at = folder.rfind(separator)) {
        title = folder.substr(at + 1);
        folder = folder.substr(0, at);
    }
    if (title.empty())
        std::swap(folder, title); // no separator: all of it is the title
    return {{u"folder", String(folder)}, {u"title", String(title)}};
}

VolumeRule mountedVolumeRule() {
    VolumeRule rule;
    rule.mountedLocalVolumePaths = [] { return platform::NSWorkspace().mountedLocalVolumePaths(); };
    return rule;
}

bool createDirectory(std::optional<StringView> path, const VolumeRule& volumes) {
    std::optional<NSError> error;
    bool made = false;
    if (path && path->starts_with(volumes.root) && !isOnMountedVolume(*path, volumes)) {
        error = NSError(platform::NSPOSIXErrorDomain, 0);
    } else {
        made =
            NSFileManager().createDirectoryAtPath_withIntermediateDirectories_error(path.value_or(u""), true, &error);
    }
    if (made && !error)
        return true;
    DRLogger::logger()->log2("Failed to create directory '%@': %@", path, error);
    return false;
}

bool createDirectoryForFile(std::optional<StringView> path, const VolumeRule& volumes) {
    if (!path)
        return createDirectory(path, volumes);
    return createDirectory(platform::stringByDeletingLastPathComponent(*path), volumes);
}

bool createDirectoryForFileURL(const NSURL& url, const VolumeRule& volumes) {
    return createDirectoryForURL(platform::URLByDeletingLastPathComponent(url), volumes);
}

bool createDirectoryForURL(const NSURL& url, const VolumeRule& volumes) {
    return createDirectory(url.path(), volumes);
}

bool fileExistsAtURL(const NSURL& url) {
    // A file manager of its own: the shared one's delegate belongs to the application.
    const NSFileManager fileManager;
    const std::optional<String> path = url.path();
    return path && fileManager.fileExistsAtPath(*path);
}

} // namespace brimle
