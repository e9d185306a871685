#include "CIImage.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

// An extent may be infinite.
int pixelsOf(double points) {
    return static_cast<int>(std::ceil(std::clamp(points, 0.0, 1e9)));
}

} // namespace

CIImage CIImage::initWithBitmapImageRep(NSBitmapImageRep bitmap) {
    const NSRect extent = NSMakeRect(0, 0, bitmap.pixelsWide(), bitmap.pixelsHigh());
    return {extent, [shared = std::make_shared<const NSBitmapImageRep>(std::move(bitmap))] { return shared; }};
}

NSCIImageRep::NSCIImageRep(const CIImage& image)
    : NSImageRep(pixelsOf(image.extent().size.width), pixelsOf(image.extent().size.height)), image_(image) {
    setSize(image.extent().size);
}

} // namespace platform
