// The engine's process-wide setting: sandbox, privacy, memory. Internal to this folder.
#pragma once

#include "Foundation/NSString.h"
#include "WebKit/WebPreferences.h"

#include <webkit2/webkit2.h>

namespace platform {

// A context for one view, to be unreferenced by the caller: nothing of a page reaches the disk, no cookies where the
// request class says so, site icons in memory when they were switched on, downloads refused.
[[nodiscard]] WebKitWebContext* makeEngineContext(const WebPreferences& preferences);

// Whether the engine's own environment variable switches its sandbox off: for machines that refuse to build one.
[[nodiscard]] bool sandboxIsSwitchedOff();

void switchSiteIconsOn();

} // namespace platform
