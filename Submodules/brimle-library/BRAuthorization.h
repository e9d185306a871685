// Shell commands with an administrator's rights.
#pragma once

#include "Security/Authorization.h"

#include <cstdio>
#include <sys/types.h>

namespace brimle {

using platform::String;
using platform::StringView;

// What a privileged run uses of the platform and of the C library.
struct PrivilegedRun {
    platform::AuthorizationServices authorization;
    std::function<int(const char* name, const char* value, int overwrite)> setenv;
    std::function<std::FILE*()> tmpfile;
    std::function<pid_t(int* status)> wait;
    std::function<std::optional<String>()> NSTemporaryDirectory;
    std::function<std::optional<String>()> NSHomeDirectory;
};
[[nodiscard]] PrivilegedRun privilegedRun();

// Runs `/bin/sh -c <command>` as root once the user has agreed; the command is one argument and is not read by anybody
// else before. True only when it ran and left with status 0; everything else is logged through DRLogger::log2.
//
// While it runs, PATH is "/bin:/usr/bin" (and stays so when there was none before), TMPDIR may be changed and SIGCHLD
// has its default action; and it takes whichever child ends first for the command. So it must not run beside code that
// reads these variables or has children of its own. Nothing throws.
bool runShellWithAuthorization(StringView prompt, StringView command, const PrivilegedRun& run = privilegedRun());

} // namespace brimle
