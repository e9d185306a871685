// The encoders of single file formats behind representationUsingType_properties. Absent when the encoder fails. Pure.
#pragma once

#include "NSBitmapImageRep.h"

namespace platform {

// A pixel with the colours no longer multiplied by alpha.
struct StraightPixel {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 0;
};
[[nodiscard]] StraightPixel straight(NSBitmapImageRep::Pixel pixel);

[[nodiscard]] std::optional<Data> encodeGIF(const NSBitmapImageRep& bitmap);
[[nodiscard]] std::optional<Data> encodeJPEG2000(const NSBitmapImageRep& bitmap);

} // namespace platform
