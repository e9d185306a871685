// Identifiers, item paths, folders and existence of files. Failures are logged through DRLogger::log2, which is for one
// thread at a time; nothing throws.
#pragma once

#include "Foundation/NSDictionary.h"
#include "Foundation/NSURL.h"

#include <functional>

namespace brimle {

using platform::NSDictionary;
using platform::NSURL;
using platform::String;
using platform::StringView;

// A new identifier: 36 characters, upper-case hexadecimal in groups of 8, 4, 4, 4 and 12.
[[nodiscard]] String createUUID();

// An item path of the application's own folder hierarchy, whose separator is the backslash, as "folder" and "title".
// Separators at the end do not count; doubled ones in front of the title stay in the folder. No path gives a dictionary
// without either key.
[[nodiscard]] NSDictionary extractFolderAndTitle(std::optional<StringView> path);

// Below the folder in which volumes are mounted, folders are made on mounted volumes only: a path on a drive that is
// not there must not fill the machine's own disk.
struct VolumeRule {
    String root = u"/Volumes";
    // The mount points of the local volumes.
    std::function<std::vector<String>()> mountedLocalVolumePaths;
};
[[nodiscard]] VolumeRule mountedVolumeRule();

// Makes the folder with its parents; true when it is there afterwards. Both tests of the rule are tests of plain text:
// "/VolumesX" is below "/Volumes", and "/Volumes/USB2" is on the volume "/Volumes/USB".
bool createDirectory(std::optional<StringView> path, const VolumeRule& volumes = mountedVolumeRule());
// Makes the folder that will hold the file.
bool createDirectoryForFile(std::optional<StringView> path, const VolumeRule& volumes = mountedVolumeRule());
bool createDirectoryForFileURL(const NSURL& url, const VolumeRule& volumes = mountedVolumeRule());
// Makes the folder that the URL names.
bool createDirectoryForURL(const NSURL& url, const VolumeRule& volumes = mountedVolumeRule());

// Whether a file, or a folder, is there; symbolic links are followed.
[[nodiscard]] bool fileExistsAtURL(const NSURL& url);

} // namespace brimle
