// The first frame of an animation as a file of its own: decoders lay out all frames, and we show one.
#pragma once

#include "ByteReader.h"
#include "ImageHeaders.h"

namespace platform {

// Where a GIF's first picture has its descriptor; the file's size when there is none.
[[nodiscard]] std::size_t firstPictureOfGIF(const ByteReader& bytes);

// A GIF cut behind its first picture. Empty when it has none.
[[nodiscard]] Data firstFrameOfGIF(DataView data);

// A still WebP file with an animation's first picture, and where that goes on the canvas.
struct WebPFrame {
    Data file;
    PixelSize canvas;
    PixelSize size;
    std::uint32_t left = 0;
    std::uint32_t top = 0;
};
[[nodiscard]] bool isAnimatedWebP(DataView data);
// Absent when there is no complete first picture inside the canvas.
[[nodiscard]] std::optional<WebPFrame> firstFrameOfWebP(DataView data);

} // namespace platform
