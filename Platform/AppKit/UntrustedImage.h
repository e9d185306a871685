// Images whose bytes come from strangers.
#pragma once

#include "NSImage.h"

namespace platform {

// The image that the bytes hold, as NSImage::initWithData reads it, but decoded in a process of its own that has no
// files, no network and little memory, and ends after a few seconds at most. Absent when there is none, when the
// decoder dies of it or answers nonsense, and when no decoder can be started. Bytes without an image's signature start
// no process. Blocks; runs nothing of the main loop.
[[nodiscard]] std::optional<NSImage> imageWithUntrustedData(DataView data);

} // namespace platform
