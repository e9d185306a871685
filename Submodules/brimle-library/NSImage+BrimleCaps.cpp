#include "brimle/NSImage+Brimle.h"

#include <algorithm>

namespace brimle {

using platform::NSDivideRect;
using platform::NSImage;
using platform::NSMakeRect;
using platform::NSMaxX;

namespace {

struct Pieces {
    NSRect left;
    NSRect middle;
    NSRect right;
};

// The right cap is cut from what the left one leaves.
Pieces divided(NSRect rect, double leftCapWidth, double rightCapWidth) {
    Pieces pieces;
    NSDivideRect(rect, &pieces.left, &pieces.middle, leftCapWidth, platform::NSMinXEdge);
    NSDivideRect(pieces.middle, &pieces.right, &pieces.middle, rightCapWidth, platform::NSMaxXEdge);
    return pieces;
}

NSRect whole(const NSImage& image) {
    return {{0, 0}, image.size()};
}

} // namespace

void br_drawStretchedInRect_leftCapWidth_rightCapWidth_operation_fraction(const NSImage& image, NSRect rect,
                                                                          double leftCapWidth, double rightCapWidth,
                                                                          platform::NSCompositingOperation operation,
                                                                          double fraction) {
    const Pieces to = divided(rect, leftCapWidth, rightCapWidth);
    const Pieces from = divided(whole(image), leftCapWidth, rightCapWidth);
    image.drawInRect_fromRect_operation_fraction(to.left, from.left, operation, fraction);
    image.drawInRect_fromRect_operation_fraction(to.middle, from.middle, operation, fraction);
    image.drawInRect_fromRect_operation_fraction(to.right, from.right, operation, fraction);
}

void br_drawTiledInRect_leftCapWidth_rightCapWidth_operation_fraction(const NSImage& image, NSRect rect,
                                                                      double leftCapWidth, double rightCapWidth,
                                                                      platform::NSCompositingOperation operation,
                                                                      double fraction) {
    // No middle, no tile, and then no caps either; stretched drawing has no such rule.
    if (!(leftCapWidth + rightCapWidth < image.size().width))
        return;
    const Pieces to = divided(rect, leftCapWidth, rightCapWidth);
    const Pieces from = divided(whole(image), leftCapWidth, rightCapWidth);
    image.drawInRect_fromRect_operation_fraction(to.left, from.left, operation, fraction);
    const double end = NSMaxX(to.middle);
    // In a lower rectangle tiles lose their upper part, where caps are squeezed.
    const double sourceHeight = std::min(from.middle.size.height, to.middle.size.height);
    for (double x = to.middle.origin.x; to.middle.size.width > 0 && x < end;) {
        const double width = std::min(end - x, from.middle.size.width);
        image.drawInRect_fromRect_operation_fraction(NSMakeRect(x, to.middle.origin.y, width, to.middle.size.height),
                                                     NSMakeRect(from.middle.origin.x, from.middle.origin.y,
                                                                std::min(from.middle.size.width, width), sourceHeight),
                                                     operation, fraction);
        if (x + width == x)
            break; // so far out that a tile's width is lost in rounding
        x += width;
    }
    image.drawInRect_fromRect_operation_fraction(to.right, from.right, operation, fraction);
}

} // namespace brimle
