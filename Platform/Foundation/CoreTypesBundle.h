// The bundle of the system's types and their icons. Linux has none of its own: an application may bring one along.
// One thread at a time.
#pragma once

#include "NSString.h"

namespace platform {

// Where the bundle's path begins; empty unless set.
void setCoreTypesRoot(StringView root);

// <root>/System/Library/CoreServices/CoreTypes.bundle/Contents
[[nodiscard]] String coreTypesContentsFolder();

} // namespace platform
