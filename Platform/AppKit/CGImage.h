// Pictures of the drawing layer below NSImage: pixels without a size in points, and where they come from.
//
// Functions with Create in their names give an object that the caller owns (a unique_ptr); passing by reference passes
// no ownership. Immutable; any thread, drawing excepted.
#pragma once

#include "NSGraphicsContext.h"

namespace platform {

class CGImage {
public:
    explicit CGImage(NSBitmapImageRep pixels) : pixels_(std::move(pixels)) {}
    [[nodiscard]] const NSBitmapImageRep& pixels() const { return pixels_; }

private:
    NSBitmapImageRep pixels_;
};
using OwnedCGImage = std::unique_ptr<const CGImage>;

[[nodiscard]] std::size_t CGImageGetWidth(const CGImage& image); // in pixels
[[nodiscard]] std::size_t CGImageGetHeight(const CGImage& image);

// A context is its own graphics port. Draws the whole picture over what is there, scaled into the rectangle (points).
void CGContextDrawImage(NSGraphicsContext& context, NSRect rect, const CGImage& image);

// The pictures in an image file's bytes, the largest first.
class CGImageSource {
public:
    explicit CGImageSource(std::vector<NSBitmapImageRep> images) : images_(std::move(images)) {}
    [[nodiscard]] const std::vector<NSBitmapImageRep>& images() const { return images_; }

private:
    std::vector<NSBitmapImageRep> images_;
};

// Null when the bytes hold no picture.
[[nodiscard]] std::unique_ptr<const CGImageSource> CGImageSourceCreateWithData(DataView data);
// Null when there is no picture of that number.
[[nodiscard]] OwnedCGImage CGImageSourceCreateImageAtIndex(const CGImageSource& source, std::size_t index);

} // namespace platform
