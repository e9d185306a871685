// Collects a child that outlives everybody's interest in it, so that it leaves no zombie.
#pragma once

#include <sys/types.h>

namespace platform {

// Returns at once when the child has ended, or a moment later when it is about to; a child that goes on is collected
// in the background when it ends. `pid` must not be waited for by the caller any more.
void collectChild(pid_t pid);

} // namespace platform
