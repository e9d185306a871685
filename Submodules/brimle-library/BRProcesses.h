// Whether a process of a given name runs. Failures are logged through DRLogger::log2, which is for one thread at a
// time, and count as "no"; nothing throws.
#pragma once

#include "Foundation/SystemControl.h"

namespace brimle {

using platform::StringView;
using platform::SystemControl;

// The name is the short command name, whole and in its case. The kernel keeps 15 bytes of it: a longer name never runs.
// The current user is the effective one.
[[nodiscard]] bool currentUserIsRunning(StringView name, const SystemControl& system = platform::systemControl());
[[nodiscard]] bool processIsRunning(StringView name, const SystemControl& system = platform::systemControl());

} // namespace brimle
