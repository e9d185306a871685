// What drawing goes to: a grid of pixels seen in points with y upwards. The one turn to rows that run downwards is in
// here. One stack of contexts a thread; a context is used by one thread.
#pragma once

#include "Foundation/NSGeometry.h"
#include "NSBitmapImageRep.h"

#include <memory>

namespace platform {

// The platform's numbers; records of drawing settings carry them.
enum NSImageInterpolation : unsigned {
    NSImageInterpolationDefault = 0, // as low
    NSImageInterpolationNone = 1,    // the nearest pixel
    NSImageInterpolationLow = 2,     // linear
    NSImageInterpolationHigh = 3,    // Lanczos with three lobes
    NSImageInterpolationMedium = 4   // as low
};

enum NSCompositingOperation : unsigned {
    NSCompositeClear = 0,
    NSCompositeCopy = 1,
    NSCompositeSourceOver = 2,
    NSCompositeSourceIn = 3,
    NSCompositeSourceOut = 4,
    NSCompositeSourceAtop = 5,
    NSCompositeDestinationOver = 6,
    NSCompositeDestinationIn = 7,
    NSCompositeDestinationOut = 8,
    NSCompositeDestinationAtop = 9,
    NSCompositeXOR = 10,
    NSCompositePlusDarker = 11, // max(0, a - ((da - d) + (sa - s))) with a = min(1, sa + da)
    NSCompositeHighlight = 12,  // the same as source over
    NSCompositePlusLighter = 13 // min(1, s + d)
};

class NSGraphicsContext {
public:
    // A context over transparent pixels of its own that stand for a size in points. NSException when a side is not
    // between 1 and 32767 pixels.
    [[nodiscard]] static std::shared_ptr<NSGraphicsContext> graphicsContextWithPixelSize(int wide, int high,
                                                                                         NSSize size);

    // A context over somebody else's pixels: premultiplied 0xAARRGGBB in the processor's byte order, rows from the top,
    // `bytesPerRow` a multiple of 4 and at least 4 * wide. `owner` is kept until the context goes. NSException when the
    // numbers do not fit.
    [[nodiscard]] static std::shared_ptr<NSGraphicsContext>
    graphicsContextWithPremultipliedARGB32(void* pixels, int wide, int high, int bytesPerRow,
                                           std::shared_ptr<const void> owner = nullptr);

    ~NSGraphicsContext();
    NSGraphicsContext(const NSGraphicsContext&) = delete;
    NSGraphicsContext& operator=(const NSGraphicsContext&) = delete;

    // What has the drawing focus; null when nothing has.
    [[nodiscard]] static std::shared_ptr<NSGraphicsContext> currentContext();
    static void setCurrentContext(std::shared_ptr<NSGraphicsContext> context);
    // Locking focus is saving the state and setting another context; unlocking is restoring. Restoring more often than
    // saving does nothing.
    static void saveGraphicsState();
    static void restoreGraphicsState();

    [[nodiscard]] NSImageInterpolation imageInterpolation() const { return interpolation_; }
    void setImageInterpolation(NSImageInterpolation interpolation) { interpolation_ = interpolation; }

    [[nodiscard]] NSSize size() const; // in points
    [[nodiscard]] int pixelsWide() const;
    [[nodiscard]] int pixelsHigh() const;

    // Draws a rectangle of the bitmap (in its pixels, y from the top) into a rectangle of the context (in points, y
    // upwards). Nothing outside the destination changes; pixels that its edges cross change in part. Nothing of the
    // bitmap outside the source rectangle shows. An empty rectangle draws nothing.
    void drawBitmap_fromPixels_inRect_operation_fraction(const NSBitmapImageRep& bitmap, NSRect source,
                                                         NSRect destination, NSCompositingOperation operation,
                                                         double fraction);

    // The pixels that the rectangle (in points) touches; see NSBitmapImageRep's initWithFocusedViewRect.
    [[nodiscard]] NSBitmapImageRep bitmapOfRect(NSRect rect) const;
    // All pixels, with the context's size in points.
    [[nodiscard]] NSBitmapImageRep bitmap() const;

private:
    struct Surface;
    explicit NSGraphicsContext(std::unique_ptr<Surface> surface);

    std::unique_ptr<Surface> surface_;
    NSImageInterpolation interpolation_ = NSImageInterpolationDefault;
};

} // namespace platform
