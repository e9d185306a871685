#include "brimle/NSImage+Brimle.h"

#include "Foundation/CoreTypesBundle.h"

namespace brimle {

using platform::NSEqualSizes;
using platform::NSGraphicsContext;
using platform::NSImage;
using platform::NSInsetRect;
using platform::NSMakeRect;
using platform::NSZeroRect;

NSImage br_imageWithCGImage(const platform::CGImage& image) {
    const auto height = static_cast<double>(CGImageGetHeight(image));
    const auto width = static_cast<double>(CGImageGetWidth(image));
    NSImage result = NSImage::initWithSize({width, height});
    result.lockFocus();
    CGContextDrawImage(*NSGraphicsContext::currentContext(), NSMakeRect(0, 0, width, height), image);
    result.unlockFocus();
    return result;
}

NSImage br_imageFromCIImage(const platform::CIImage& image) {
    NSImage result = NSImage::initWithSize(image.extent().size);
    result.addRepresentation(platform::NSCIImageRep::imageRepWithCIImage(image));
    return result;
}

platform::OwnedCGImage br_toCGImage(const NSImage& image) {
    const auto data = image.TIFFRepresentation();
    const auto source = data ? platform::CGImageSourceCreateWithData(*data) : nullptr;
    return source ? platform::CGImageSourceCreateImageAtIndex(*source, 0) : nullptr;
}

namespace {

std::optional<platform::NSBitmapImageRep> bitmapThroughTIFF(const NSImage& image) {
    const auto data = image.TIFFRepresentation();
    return data ? platform::NSBitmapImageRep::imageRepWithData(*data) : std::nullopt;
}

} // namespace

std::optional<platform::CIImage> br_toCIImage(const NSImage& image) {
    auto bitmap = bitmapThroughTIFF(image);
    return bitmap ? std::optional(platform::CIImage::initWithBitmapImageRep(std::move(*bitmap))) : std::nullopt;
}

std::optional<platform::Data> br_dataRepresentationOfType(const NSImage& image, platform::NSBitmapImageFileType type) {
    const auto bitmap = bitmapThroughTIFF(image);
    return bitmap ? bitmap->representationUsingType_properties(type, std::nullopt) : std::nullopt;
}

NSRect BRCenterRectInRect(NSSize size, NSRect outer) {
    const double dx = (outer.size.width - size.width) / 2.0;
    const double dy = (outer.size.height - size.height) / 2.0;
    return NSInsetRect(outer, dx, dy);
}

void br_drawProportionallyInRect_operation_fraction(const NSImage& image, NSRect rect,
                                                    platform::NSCompositingOperation operation, double fraction) {
    const double aspect = image.size().width / image.size().height;
    NSSize drawn{rect.size.width, rect.size.width / aspect};
    // The image's shape alone picks the side. Callers lay out rows of pictures that are equally wide (or high) and rely
    // on it, so this is not a fit into the rectangle.
    if (aspect < 1.0)
        drawn = {aspect * rect.size.height, rect.size.height};
    image.drawInRect_fromRect_operation_fraction(BRCenterRectInRect(drawn, rect), NSZeroRect, operation, fraction);
}

std::optional<NSImage> br_imageByScalingProportionallyToSize(NSImage& image, NSSize target) {
    if (!image.isValid())
        return std::nullopt;
    const NSSize size = image.size();
    NSSize drawn = target;
    platform::NSPoint offset;
    if (!NSEqualSizes(size, target)) {
        const double heightRatio = target.height / size.height;
        const double widthRatio = target.width / size.width;
        const double scale = widthRatio < heightRatio ? widthRatio : heightRatio;
        drawn = {size.width * scale, size.height * scale};
        if (heightRatio > widthRatio)
            offset.y = (target.height - drawn.height) * 0.5;
        else if (widthRatio > heightRatio)
            offset.x = (target.width - drawn.width) * 0.5;
    }
    NSImage result = NSImage::initWithSize(target);
    result.lockFocus();
    NSGraphicsContext::currentContext()->setImageInterpolation(platform::NSImageInterpolationHigh);
    // Callers read the size at which the picture was drawn off the image that they passed.
    image.setSize(drawn);
    image.drawInRect_fromRect_operation_fraction({offset, drawn}, NSZeroRect, platform::NSCompositeCopy, 1.0);
    result.unlockFocus();
    return result;
}

void setCoreTypesRoot(StringView root) {
    platform::setCoreTypesRoot(root);
}

String coreTypesResourcesFolder() {
    return platform::coreTypesContentsFolder() + u"/Resources";
}

NSImage coreTypesImage(StringView name) {
    if (auto named = NSImage::imageNamed(platform::stringByDeletingPathExtension(name)))
        return std::move(*named);
    return NSImage::initByReferencingFile(platform::stringByAppendingPathComponent(coreTypesResourcesFolder(), name));
}

} // namespace brimle
