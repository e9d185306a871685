// What the first bytes of an image file say about it, read without a decoder.
#pragma once

#include "Foundation/NSString.h"

namespace platform {

enum class ImageType : std::uint8_t { PNG, JPEG, GIF, BMP, TIFF, WebP, ICO, ICNS, JPEG2000 };

// By the signature alone; absent for anything else.
[[nodiscard]] std::optional<ImageType> sniffImageType(DataView data);

struct PixelSize {
    std::uint32_t wide = 0;
    std::uint32_t high = 0;
};

// The largest pixel counts that a decoder of that type will make room for, both above 0; absent when the header is cut
// or is none, or asks for unreasonable work. Not for TIFF, ICO, ICNS and JPEG 2000, which declare sizes in many places.
[[nodiscard]] std::optional<PixelSize> declaredSize(DataView data, ImageType type);

// Whether one representation of that size is decoded at all, where `budget` pixels (no more than maximumImagePixels)
// are left for it.
[[nodiscard]] bool isAcceptable(PixelSize size, long budget);

} // namespace platform
