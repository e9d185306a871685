// Whether a process runs the processor's own machine code. Any thread.
#pragma once

#include "NSString.h"

namespace platform {

// False when the process's program is a translator of foreign machine code: an interpreter that is registered with the
// kernel (binfmt_misc) for ELF files. `process` is the name of its folder in `proc`. Absent, with errno set, when it
// cannot be told: ENOENT for processes that have no program file (those of the kernel), ESRCH for one that is not
// there, EACCES for one that we may not look at.
[[nodiscard]] std::optional<bool> isNativeProcess(const std::string& proc, const std::string& process);

} // namespace platform
