// The user's name and folders, and temporary files. They read the environment: not beside code that changes it.
#pragma once

#include "NSString.h"

#include <cstdio>

namespace platform {

// The login name of the process's user; empty for a user whom the system does not know.
[[nodiscard]] String NSUserName();
// HOME, else the folder that the system knows for the user; empty when there is none.
[[nodiscard]] String NSHomeDirectory();
// TMPDIR where that is a folder in which files can be made, else the system's own for temporary files.
[[nodiscard]] String NSTemporaryDirectory();

// A new file without a name in the folder that TMPDIR names, or without that variable in the system's own; null when it
// cannot be made. (The C library's tmpfile does not ask TMPDIR.) Closed on exec.
[[nodiscard]] std::FILE* temporaryFile();

} // namespace platform
