#include "NSImage.h"

#include "Foundation/NSException.h"
#include "ImageDecoding.h"
#include "TIFFEncoding.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

constexpr double maximumFocusSide = 32767;

// The pixels of a representation; a bitmap's own, without a copy.
std::shared_ptr<const NSBitmapImageRep> bitmapOf(const std::shared_ptr<const NSImageRep>& representation) {
    if (auto bitmap = std::dynamic_pointer_cast<const NSBitmapImageRep>(representation))
        return bitmap;
    return representation->rendered();
}

// The smallest representation that has at least as many pixels as are asked for, else the largest.
const std::shared_ptr<const NSImageRep>*
bestRepresentation(const std::vector<std::shared_ptr<const NSImageRep>>& representations, double wide, double high) {
    const std::shared_ptr<const NSImageRep>* best = nullptr;
    const auto isEnough = [&](const NSImageRep& rep) { return rep.pixelsWide() >= wide && rep.pixelsHigh() >= high; };
    const auto area = [](const NSImageRep& rep) { return static_cast<double>(rep.pixelsWide()) * rep.pixelsHigh(); };
    for (const auto& candidate : representations) {
        const bool better =
            !best || (isEnough(*candidate) && !isEnough(**best)) ||
            (isEnough(*candidate) == isEnough(**best) && isEnough(*candidate) == (area(*candidate) < area(**best)) &&
             area(*candidate) != area(**best));
        if (better)
            best = &candidate;
    }
    return best;
}

NSRect intersection(const NSRect& a, const NSRect& b) {
    const double x = std::max(a.origin.x, b.origin.x);
    const double y = std::max(a.origin.y, b.origin.y);
    return NSMakeRect(x, y, std::min(NSMaxX(a), NSMaxX(b)) - x, std::min(NSMaxY(a), NSMaxY(b)) - y);
}

} // namespace

NSImage NSImage::initWithSize(NSSize size) {
    NSImage image;
    image.size_ = size;
    return image;
}

std::optional<NSImage> NSImage::initWithData(DataView data) {
    auto decoded = decodeImage(data);
    if (decoded.empty())
        return std::nullopt;
    NSImage image = initWithSize(decoded.front().size());
    for (auto& representation : decoded)
        image.addRepresentation(std::make_shared<const NSBitmapImageRep>(std::move(representation)));
    return image;
}

void NSImage::addRepresentation(std::shared_ptr<const NSImageRep> representation) {
    representations_.push_back(std::move(representation));
}

void NSImage::lockFocus() {
    if (!(size_.width > 0 && size_.width <= maximumFocusSide && size_.height > 0 && size_.height <= maximumFocusSide))
        throw NSException(u"NSImageCacheException", u"an image of that size cannot have the drawing focus");
    auto context = NSGraphicsContext::graphicsContextWithPixelSize(static_cast<int>(std::ceil(size_.width)),
                                                                   static_cast<int>(std::ceil(size_.height)), size_);
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(context);
    if (isValid())
        drawInRect_fromRect_operation_fraction({{}, size_}, NSZeroRect, NSCompositeCopy, 1.0);
    focus_ = std::move(context);
}

void NSImage::unlockFocus() {
    if (!focus_)
        return;
    representations_.assign(1, std::make_shared<const NSBitmapImageRep>(focus_->bitmap()));
    focus_.reset();
    NSGraphicsContext::restoreGraphicsState();
}

void NSImage::drawInRect_fromRect_operation_fraction(NSRect destination, NSRect source,
                                                     NSCompositingOperation operation, double fraction) const {
    const auto context = NSGraphicsContext::currentContext();
    if (!context)
        throw NSException(u"NSInternalInconsistencyException", u"nothing has the drawing focus to draw into");
    const NSRect whole{{}, size_};
    const NSRect asked = source == NSZeroRect ? whole : source;
    const NSRect visible = intersection(asked, whole);
    if (NSIsEmptyRect(destination) || NSIsEmptyRect(visible) || representations().empty())
        return;
    const double across = destination.size.width / asked.size.width;
    const double up = destination.size.height / asked.size.height;
    const NSRect target = NSMakeRect(destination.origin.x + (visible.origin.x - asked.origin.x) * across,
                                     destination.origin.y + (visible.origin.y - asked.origin.y) * up,
                                     visible.size.width * across, visible.size.height * up);
    // As many pixels as the whole image would cover at this scale.
    const auto* representation =
        bestRepresentation(representations(), size_.width * across * context->pixelsWide() / context->size().width,
                           size_.height * up * context->pixelsHigh() / context->size().height);
    const auto bitmap = bitmapOf(*representation);
    if (!bitmap)
        return;
    const double pixelsAcross = bitmap->pixelsWide() / size_.width;
    const double pixelsUp = bitmap->pixelsHigh() / size_.height;
    const NSRect pixels = NSMakeRect(visible.origin.x * pixelsAcross, (size_.height - NSMaxY(visible)) * pixelsUp,
                                     visible.size.width * pixelsAcross, visible.size.height * pixelsUp);
    context->drawBitmap_fromPixels_inRect_operation_fraction(*bitmap, pixels, target, operation, fraction);
}

std::optional<Data> NSImage::TIFFRepresentation() const {
    std::vector<std::shared_ptr<const NSBitmapImageRep>> pages;
    for (const auto& representation : representations())
        if (auto bitmap = bitmapOf(representation))
            pages.push_back(std::move(bitmap));
    return encodeTIFF(pages);
}

} // namespace platform
