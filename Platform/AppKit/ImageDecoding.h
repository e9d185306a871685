// From an image file's bytes to pixels, for bytes that anybody may have made.
//
// The type is recognised from the bytes alone: PNG, JPEG, GIF (first frame), BMP, TIFF, WebP (first frame), ICO and
// ICNS. What the headers promise is checked before anything is decoded; damaged data give what could be read of them or
// nothing, never an error. No drawing, no display: this stands alone and is quick to start. Any thread.
#pragma once

#include "NSBitmapImageRep.h"

namespace platform {

// Bounds of what is decoded at all: one representation's sides, and all of a file's pixels together (128 MiB). The
// largest icons in use have 1024 pixels a side.
inline constexpr int maximumImageSide = 8192;
inline constexpr long maximumImagePixels = 32L << 20;
inline constexpr std::size_t maximumRepresentations = 64;

// All usable representations, the largest first; none when there is none. The size in points follows the resolution
// that the data declare, where they declare a plausible one.
[[nodiscard]] std::vector<NSBitmapImageRep> decodeImage(DataView data);

// Loads the decoder that these data need where it is a module of its own, so that decodeImage opens no files for them.
// For a process that is about to give up the right to. Looks at the data's signature only.
void prepareImageDecoding(DataView data);

} // namespace platform
