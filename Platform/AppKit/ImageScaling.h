// Resampling of premultiplied pixels: the filters behind image interpolation.
//
// Separable. A filter is centred on each destination pixel's place in the source and widened by the scale when it
// reduces, so that no source pixel is passed over; weights are normalised over the source pixels inside the source
// rectangle. Fixed point with 14 fractional bits; results are clamped to valid premultiplied pixels. Pure.
#pragma once

#include "NSBitmapImageRep.h"
#include "NSGraphicsContext.h"

namespace platform {

// Integer pixels, y from the top.
struct PixelBox {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    [[nodiscard]] int width() const { return right - left; }
    [[nodiscard]] int height() const { return bottom - top; }
    [[nodiscard]] bool isEmpty() const { return right <= left || bottom <= top; }
};

// The pixels inside `box` of `source` (a rectangle of the bitmap, in its pixels) laid into `destination`, both with y
// from the top and fractional. REQUIRES: rectangles not empty, `source` inside the bitmap, `box` within the hull of
// `destination`.
[[nodiscard]] NSBitmapImageRep resampledBitmap(const NSBitmapImageRep& bitmap, NSRect source, NSRect destination,
                                               PixelBox box, NSImageInterpolation interpolation);

} // namespace platform
