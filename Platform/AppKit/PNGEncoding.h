// A bitmap as PNG data: 8 bits a sample, RGB and alpha, without times and comments. Any thread.
#pragma once

#include "NSBitmapImageRep.h"

namespace platform {

// Absent when the encoder fails.
[[nodiscard]] std::optional<Data> encodePNG(const NSBitmapImageRep& page);

} // namespace platform
