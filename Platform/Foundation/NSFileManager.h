// Files and folders by path. Paths are the UTF-8 bytes of the text; a path without a UTF-8 form or with U+0000 does not
// exist. Any thread.
#pragma once

#include "NSError.h"

namespace platform {

class NSFileManager {
public:
    // True also for a folder; symbolic links are followed.
    [[nodiscard]] bool fileExistsAtPath(StringView path) const;

    // Makes the folder, with missing parents if asked, with default permissions. A folder that already exists is a
    // success when intermediates are made, else EEXIST. False, with an NSPOSIXErrorDomain error, on failure.
    bool createDirectoryAtPath_withIntermediateDirectories_error(StringView path, bool withIntermediates,
                                                                 NSErrorPointer error) const;
};

} // namespace platform
