// The decoders of single file formats behind decodeImage: each gives what is usable within `budget` pixels in all.
#pragma once

#include "ImageHeaders.h"
#include "NSBitmapImageRep.h"

namespace platform {

using Representations = std::vector<NSBitmapImageRep>;

// PNG, JPEG, GIF, BMP and WebP through gdk-pixbuf, the decoder chosen by the type and not by its own guess.
[[nodiscard]] Representations decodeWithPixbuf(DataView data, ImageType type, long budget);
[[nodiscard]] Representations decodeTIFF(DataView data, long budget);

// The size in points for pixels at a declared resolution (pixels an inch). Implausible ones (below 36, above 2400)
// count as not declared.
void applyResolution(NSBitmapImageRep &bitmap, double across, double down);

} // namespace platform
