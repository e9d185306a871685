#include "CGImage.h"

#include "ImageDecoding.h"

namespace platform {

std::size_t CGImageGetWidth(const CGImage& image) {
    return static_cast<std::size_t>(image.pixels().pixelsWide());
}
std::size_t CGImageGetHeight(const CGImage& image) {
    return static_cast<std::size_t>(image.pixels().pixelsHigh());
}

void CGContextDrawImage(NSGraphicsContext& context, NSRect rect, const CGImage& image) {
    const NSRect whole = NSMakeRect(0, 0, image.pixels().pixelsWide(), image.pixels().pixelsHigh());
    context.drawBitmap_fromPixels_inRect_operation_fraction(image.pixels(), whole, rect, NSCompositeSourceOver, 1.0);
}

std::unique_ptr<const CGImageSource> CGImageSourceCreateWithData(DataView data) {
    auto images = decodeImage(data);
    return images.empty() ? nullptr : std::make_unique<const CGImageSource>(std::move(images));
}

OwnedCGImage CGImageSourceCreateImageAtIndex(const CGImageSource& source, std::size_t index) {
    return index < source.images().size() ? std::make_unique<const CGImage>(source.images()[index]) : nullptr;
}

} // namespace platform
