#include "NSGraphicsContext.h"

#include "Foundation/NSException.h"
#include "ImageScaling.h"

#include <algorithm>
#include <cairo.h>
#include <cmath>

namespace platform {
namespace {

constexpr int maximumSide = 32767; // of a cairo image surface
constexpr StringView NSInvalidArgumentException = u"NSInvalidArgumentException";
constexpr StringView NSRangeException = u"NSRangeException";

using SurfaceHandle = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using CairoHandle = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

struct SavedState {
    std::shared_ptr<NSGraphicsContext> context;
    NSImageInterpolation interpolation = NSImageInterpolationDefault;
};

thread_local std::shared_ptr<NSGraphicsContext> current;
thread_local std::vector<SavedState> saved;

bool isSide(int pixels) {
    return pixels >= 1 && pixels <= maximumSide;
}

SurfaceHandle surfaceOver(void* pixels, int wide, int high, int bytesPerRow) {
    SurfaceHandle surface(cairo_image_surface_create_for_data(static_cast<unsigned char*>(pixels), CAIRO_FORMAT_ARGB32,
                                                              wide, high, bytesPerRow),
                          &cairo_surface_destroy);
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS)
        throw NSException(NSInvalidArgumentException, u"no drawing surface over pixels of that form");
    return surface;
}

// Doubles far outside still have to become integers.
int clampedFloor(double value) {
    return static_cast<int>(std::floor(std::clamp(value, -1e6, 1e6)));
}
int clampedCeil(double value) {
    return static_cast<int>(std::ceil(std::clamp(value, -1e6, 1e6)));
}

PixelBox hull(const NSRect& rect) {
    return {clampedFloor(rect.origin.x), clampedFloor(rect.origin.y), clampedCeil(NSMaxX(rect)),
            clampedCeil(NSMaxY(rect))};
}

PixelBox intersection(const PixelBox& a, const PixelBox& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

// Cairo's operator for each operation that it has. Plus-darker it has not.
cairo_operator_t cairoOperator(NSCompositingOperation operation) {
    switch (operation) {
    case NSCompositeClear:
        return CAIRO_OPERATOR_CLEAR;
    case NSCompositeSourceIn:
        return CAIRO_OPERATOR_IN;
    case NSCompositeSourceOut:
        return CAIRO_OPERATOR_OUT;
    case NSCompositeSourceAtop:
        return CAIRO_OPERATOR_ATOP;
    case NSCompositeDestinationOver:
        return CAIRO_OPERATOR_DEST_OVER;
    case NSCompositeDestinationIn:
        return CAIRO_OPERATOR_DEST_IN;
    case NSCompositeDestinationOut:
        return CAIRO_OPERATOR_DEST_OUT;
    case NSCompositeDestinationAtop:
        return CAIRO_OPERATOR_DEST_ATOP;
    case NSCompositeXOR:
        return CAIRO_OPERATOR_XOR;
    case NSCompositePlusLighter:
        return CAIRO_OPERATOR_ADD;
    case NSCompositeCopy:
    case NSCompositePlusDarker: // what is painted is already the result
        return CAIRO_OPERATOR_SOURCE;
    case NSCompositeSourceOver:
    case NSCompositeHighlight:
        break;
    }
    return CAIRO_OPERATOR_OVER;
}

template <class Function>
NSBitmapImageRep::Pixel perChannel(Function function) {
    NSBitmapImageRep::Pixel result = 0;
    for (unsigned shift = 0; shift < 32; shift += 8)
        result |= function(shift) << shift;
    return result;
}

unsigned channel(NSBitmapImageRep::Pixel pixel, unsigned shift) {
    return pixel >> shift & 0xFF;
}

void fade(NSBitmapImageRep& bitmap, double fraction) {
    const auto opacity = static_cast<unsigned>(std::lround(std::clamp(fraction, 0.0, 1.0) * 255));
    if (opacity == 255)
        return;
    for (auto& pixel : bitmap.pixels())
        pixel = perChannel([&](unsigned shift) { return (channel(pixel, shift) * opacity + 127) / 255; });
}

NSBitmapImageRep::Pixel plusDarker(NSBitmapImageRep::Pixel source, NSBitmapImageRep::Pixel destination) {
    const unsigned sum = (source >> 24) + (destination >> 24);
    const unsigned alpha = std::min(255u, sum);
    return perChannel([&](unsigned shift) {
        const unsigned missing = sum - channel(source, shift) - channel(destination, shift);
        return shift == 24 ? alpha : alpha - std::min(alpha, missing);
    });
}

// Cairo's coordinates have 24 bits before the point: what lies far outside is cut off first.
void clipTo(cairo_t* cairo, const NSRect& rect, const PixelBox& bounds) {
    const double left = std::max(rect.origin.x, bounds.left - 1.0);
    const double top = std::max(rect.origin.y, bounds.top - 1.0);
    const double right = std::min(NSMaxX(rect), bounds.right + 1.0);
    const double bottom = std::min(NSMaxY(rect), bounds.bottom + 1.0);
    cairo_rectangle(cairo, left, top, right - left, bottom - top);
    cairo_clip(cairo);
}

bool isWhole(const NSRect& rect) {
    const auto whole = [](double value) { return value == std::floor(value); };
    return whole(rect.origin.x) && whole(rect.origin.y) && whole(rect.size.width) && whole(rect.size.height);
}

bool isUsable(const NSRect& rect) {
    return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
           std::isfinite(rect.size.height) && !NSIsEmptyRect(rect);
}

} // namespace

struct NSGraphicsContext::Surface {
    std::shared_ptr<const void> owner;
    SurfaceHandle cairo;
    std::uint8_t* pixels;
    int wide;
    int high;
    int bytesPerRow;
    NSSize size;

    [[nodiscard]] NSBitmapImageRep::Pixel* row(int y) const {
        return reinterpret_cast<NSBitmapImageRep::Pixel*>(pixels + static_cast<std::ptrdiff_t>(y) * bytesPerRow);
    }
    [[nodiscard]] PixelBox bounds() const { return {0, 0, wide, high}; }
    // From points with y upwards to pixels with y downwards.
    [[nodiscard]] NSRect toPixels(const NSRect& rect) const {
        const double across = wide / size.width;
        const double down = high / size.height;
        return NSMakeRect(rect.origin.x * across, high - NSMaxY(rect) * down, rect.size.width * across,
                          rect.size.height * down);
    }
};

NSGraphicsContext::NSGraphicsContext(std::unique_ptr<Surface> surface) : surface_(std::move(surface)) {}
NSGraphicsContext::~NSGraphicsContext() = default;

std::shared_ptr<NSGraphicsContext>
NSGraphicsContext::graphicsContextWithPremultipliedARGB32(void* pixels, int wide, int high, int bytesPerRow,
                                                          std::shared_ptr<const void> owner) {
    if (!pixels || !isSide(wide) || !isSide(high) || bytesPerRow % 4 != 0 || bytesPerRow < 4 * wide)
        throw NSException(NSInvalidArgumentException, u"no drawing surface over pixels of that form");
    auto surface = std::make_unique<Surface>(Surface{std::move(owner),
                                                     surfaceOver(pixels, wide, high, bytesPerRow),
                                                     static_cast<std::uint8_t*>(pixels),
                                                     wide,
                                                     high,
                                                     bytesPerRow,
                                                     {static_cast<double>(wide), static_cast<double>(high)}});
    return std::shared_ptr<NSGraphicsContext>(new NSGraphicsContext(std::move(surface)));
}

std::shared_ptr<NSGraphicsContext> NSGraphicsContext::graphicsContextWithPixelSize(int wide, int high, NSSize size) {
    if (!isSide(wide) || !isSide(high))
        throw NSException(NSInvalidArgumentException, u"no drawing surface of that size");
    const auto own = std::make_shared<NSBitmapImageRep>(wide, high);
    auto context = graphicsContextWithPremultipliedARGB32(own->pixels().data(), wide, high, wide * 4, own);
    context->surface_->size = size;
    return context;
}

std::shared_ptr<NSGraphicsContext> NSGraphicsContext::currentContext() {
    return current;
}

void NSGraphicsContext::setCurrentContext(std::shared_ptr<NSGraphicsContext> context) {
    current = std::move(context);
}

void NSGraphicsContext::saveGraphicsState() {
    saved.push_back({current, current ? current->interpolation_ : NSImageInterpolationDefault});
}

void NSGraphicsContext::restoreGraphicsState() {
    if (saved.empty())
        return;
    current = std::move(saved.back().context);
    if (current)
        current->interpolation_ = saved.back().interpolation;
    saved.pop_back();
}

NSSize NSGraphicsContext::size() const {
    return surface_->size;
}
int NSGraphicsContext::pixelsWide() const {
    return surface_->wide;
}
int NSGraphicsContext::pixelsHigh() const {
    return surface_->high;
}

void NSGraphicsContext::drawBitmap_fromPixels_inRect_operation_fraction(const NSBitmapImageRep& bitmap, NSRect source,
                                                                        NSRect destination,
                                                                        NSCompositingOperation operation,
                                                                        double fraction) {
    const NSRect target = surface_->toPixels(destination);
    if (!isUsable(source) || !isUsable(target))
        return;
    const PixelBox box = intersection(hull(target), surface_->bounds());
    if (box.isEmpty())
        return;
    NSBitmapImageRep piece = resampledBitmap(bitmap, source, target, box, interpolation_);
    fade(piece, fraction);
    if (operation == NSCompositePlusDarker)
        for (int y = box.top; y < box.bottom; ++y)
            for (int x = box.left; x < box.right; ++x)
                piece.row(y - box.top)[static_cast<std::size_t>(x - box.left)] =
                    plusDarker(piece.pixelAt(x - box.left, y - box.top), surface_->row(y)[x]);
    const SurfaceHandle picture = surfaceOver(piece.pixels().data(), box.width(), box.height(), box.width() * 4);
    cairo_surface_mark_dirty(surface_->cairo.get()); // the owner of the pixels may have written to them
    const CairoHandle cairo(cairo_create(surface_->cairo.get()), &cairo_destroy);
    // Whole pixels need no softened edge, and a picture laid on them is exact.
    cairo_set_antialias(cairo.get(), isWhole(target) ? CAIRO_ANTIALIAS_NONE : CAIRO_ANTIALIAS_BEST);
    clipTo(cairo.get(), target, surface_->bounds());
    cairo_set_operator(cairo.get(), cairoOperator(operation));
    cairo_set_source_surface(cairo.get(), picture.get(), box.left, box.top);
    cairo_pattern_set_filter(cairo_get_source(cairo.get()), CAIRO_FILTER_NEAREST);
    cairo_paint(cairo.get());
    cairo_surface_flush(surface_->cairo.get());
}

NSBitmapImageRep NSGraphicsContext::bitmapOfRect(NSRect rect) const {
    const NSRect pixels = surface_->toPixels(rect);
    const PixelBox box = hull(pixels);
    if (!isUsable(pixels) || !isSide(box.width()) || !isSide(box.height()))
        throw NSException(NSRangeException, u"no pixels to read back in a rectangle of that size");
    NSBitmapImageRep result(box.width(), box.height());
    const PixelBox inside = intersection(box, surface_->bounds());
    for (int y = inside.top; !inside.isEmpty() && y < inside.bottom; ++y)
        std::copy_n(surface_->row(y) + inside.left, inside.width(),
                    result.row(y - box.top).data() + (inside.left - box.left));
    return result;
}

NSBitmapImageRep NSGraphicsContext::bitmap() const {
    NSBitmapImageRep result(surface_->wide, surface_->high);
    for (int y = 0; y < surface_->high; ++y)
        std::copy_n(surface_->row(y), surface_->wide, result.row(y).data());
    result.setSize(surface_->size);
    return result;
}

NSBitmapImageRep NSBitmapImageRep::initWithFocusedViewRect(NSRect rect) {
    if (!current)
        throw NSException(u"NSInternalInconsistencyException", u"nothing has the drawing focus to read back from");
    return current->bitmapOfRect(rect);
}

} // namespace platform
