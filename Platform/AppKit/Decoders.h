// The decoders of single file formats behind decodeImage: each gives what is usable within `budget` pixels in all.
#pragma once

#include "ImageHeaders.h"
#include "NSBitmapImageRep.h"

namespace platform {

using Representations = std::vector<NSBitmapImageRep>;

// PNG, JPEG, GIF and BMP through gdk-pixbuf, the decoder chosen by the type and not by its own guess.
[[nodiscard]] Representations decodeWithPixbuf(DataView data, ImageType type, long budget);
// The first frame of an animation.
[[nodiscard]] Representations decodeWebP(DataView data, long budget);
[[nodiscard]] Representations decodeTIFF(DataView data, long budget);
// A JP2 file or a bare codestream.
[[nodiscard]] Representations decodeJPEG2000(DataView data, long budget);
// Icons and cursors of Windows: entries with a bitmap and a mask, or with a whole PNG file.
[[nodiscard]] Representations decodeICO(DataView data, long budget);
// Icon families of Mac OS: 24-bit icons with 8-bit masks, ARGB, PNG and JPEG 2000 entries; the older ones with 1, 4 and
// 8 bits a pixel and 1-bit masks.
[[nodiscard]] Representations decodeICNS(DataView data, long budget);

// Adds an entry's representations to those of its file and takes their pixels off the budget.
void append(Representations& all, Representations more, long& budget);

// A colour times alpha, rounded; both 0 to 255.
[[nodiscard]] constexpr std::uint32_t premultiplied(std::uint32_t colour, std::uint32_t alpha) {
    const std::uint32_t product = colour * alpha + 128;
    return (product + (product >> 8)) >> 8; // the rounded 255th part
}
[[nodiscard]] constexpr NSBitmapImageRep::Pixel premultipliedPixel(std::uint32_t red, std::uint32_t green,
                                                                   std::uint32_t blue, std::uint32_t alpha) {
    return alpha << 24 | premultiplied(red, alpha) << 16 | premultiplied(green, alpha) << 8 |
           premultiplied(blue, alpha);
}

// The size in points for pixels at a declared resolution (pixels an inch). Implausible ones (below 36, above 2400)
// count as not declared.
void applyResolution(NSBitmapImageRep& bitmap, double across, double down);

} // namespace platform
