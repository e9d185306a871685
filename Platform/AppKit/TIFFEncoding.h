// TIFF data from bitmaps, one page each: 8 bits a sample, RGB and associated alpha, uncompressed, in one strip.
#pragma once

#include "NSBitmapImageRep.h"

namespace platform {

// Absent for no pages or when the encoder fails. Pure.
[[nodiscard]] std::optional<Data> encodeTIFF(std::span<const std::shared_ptr<const NSBitmapImageRep>> pages);
[[nodiscard]] std::optional<Data> encodeTIFF(const NSBitmapImageRep& page);

} // namespace platform
