// Compositing against the formulas in double precision, and what scaling leaves at edges.
#include "AppKit/NSGraphicsContext.h"

#include "Tests/Support/TestBitmaps.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace tessaro_test;

// Alpha, red, green, blue; premultiplied, 0 to 1.
using Colour = std::array<double, 4>;

Colour colourOf(Pixel pixel) {
    Colour colour;
    for (std::size_t c = 0; c < 4; ++c)
        colour[c] = static_cast<double>(pixel >> (24 - 8 * c) & 0xFF) / 255;
    return colour;
}

// Each result is source times a factor and destination times another; the two factors from the alphas.
struct Operation {
    NSCompositingOperation operation;
    unsigned number;
    const char* name;
    double (*ofSource)(double sourceAlpha, double destinationAlpha);
    double (*ofDestination)(double sourceAlpha, double destinationAlpha);
};
double zero(double, double) {
    return 0;
}
double one(double, double) {
    return 1;
}
double source(double s, double) {
    return s;
}
double destination(double, double d) {
    return d;
}
double notSource(double s, double) {
    return 1 - s;
}
double notDestination(double, double d) {
    return 1 - d;
}

const Operation operations[] = {
    {NSCompositeClear, 0, "clear", zero, zero},
    {NSCompositeCopy, 1, "copy", one, zero},
    {NSCompositeSourceOver, 2, "source over", one, notSource},
    {NSCompositeSourceIn, 3, "source in", destination, zero},
    {NSCompositeSourceOut, 4, "source out", notDestination, zero},
    {NSCompositeSourceAtop, 5, "source atop", destination, notSource},
    {NSCompositeDestinationOver, 6, "destination over", notDestination, one},
    {NSCompositeDestinationIn, 7, "destination in", zero, source},
    {NSCompositeDestinationOut, 8, "destination out", zero, notSource},
    {NSCompositeDestinationAtop, 9, "destination atop", notDestination, source},
    {NSCompositeXOR, 10, "xor", notDestination, notSource},
    {NSCompositePlusDarker, 11, "plus darker", nullptr, nullptr},
    {NSCompositeHighlight, 12, "highlight", one, notSource},
    {NSCompositePlusLighter, 13, "plus lighter", one, one},
};

Colour composed(const Operation& operation, Colour s, const Colour& d, double fraction) {
    for (double& component : s)
        component *= fraction;
    Colour result;
    for (std::size_t c = 0; c < 4; ++c) {
        if (operation.operation == NSCompositePlusDarker) {
            const double alpha = std::min(1.0, s[0] + d[0]);
            result[c] = c == 0 ? alpha : std::max(0.0, alpha - ((d[0] - d[c]) + (s[0] - s[c])));
        } else {
            result[c] =
                std::min(1.0, s[c] * operation.ofSource(s[0], d[0]) + d[c] * operation.ofDestination(s[0], d[0]));
        }
    }
    return result;
}

NSBitmapImageRep single(Pixel pixel) {
    NSBitmapImageRep bitmap(1, 1);
    bitmap.pixels()[0] = pixel;
    return bitmap;
}

constexpr Pixel samples[] = {0,          0xFFFFFFFF, 0xFF000000, 0xFFFF0000, 0xFF204080, 0x80800000,
                             0x80102030, 0x40404040, 0x01010001, 0xC8000064, 0xFEFE7F01};

TEST(NSGraphicsContext, ComposesAsTheFormulasSay) {
    for (const Operation& operation : operations) {
        EXPECT_EQ(operation.operation, operation.number);
        for (const Pixel from : samples)
            for (const Pixel onto : samples)
                for (const double fraction : {1.0, 0.5, 0.25, 0.0}) {
                    const auto canvas = drawn(1, 1, onto, [&] {
                        imageOf(single(from))
                            .drawInRect_fromRect_operation_fraction({{0, 0}, {1, 1}}, {}, operation.operation,
                                                                    fraction);
                    });
                    const Colour expected = composed(operation, colourOf(from), colourOf(onto), fraction);
                    const Colour found = colourOf(canvas.pixelAt(0, 0));
                    for (std::size_t c = 0; c < 4; ++c)
                        ASSERT_NEAR(found[c] * 255, expected[c] * 255, fraction == 1.0 ? 1.01 : 1.6)
                            << operation.name << std::hex << " of " << from << " onto " << onto << " at " << fraction;
                }
    }
}

TEST(NSGraphicsContext, CopyReplacesExactly) {
    for (const Pixel from : samples)
        for (const Pixel onto : samples) {
            const auto canvas = drawn(1, 1, onto, [&] {
                imageOf(single(from))
                    .drawInRect_fromRect_operation_fraction({{0, 0}, {1, 1}}, {}, NSCompositeCopy, 1.0);
            });
            EXPECT_EQ(canvas.pixelAt(0, 0), from);
        }
}

TEST(NSGraphicsContext, NothingOutsideTheDestinationChanges) {
    for (const Operation& operation : operations) {
        const auto canvas = drawn(3, 3, halfRed, [&] {
            imageOf(single(0x40404040))
                .drawInRect_fromRect_operation_fraction({{1, 1}, {1, 1}}, {}, operation.operation, 1.0);
        });
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 3; ++x)
                if (x != 1 || y != 1) {
                    EXPECT_EQ(canvas.pixelAt(x, y), halfRed) << operation.name << " " << x << " " << y;
                }
    }
}

TEST(NSGraphicsContext, EdgesBetweenPixelsChangeThemInPart) {
    const auto canvas = drawn(4, 1, white, [&] {
        imageOf(single(black)).drawInRect_fromRect_operation_fraction({{0.5, 0}, {2.25, 1}}, {}, NSCompositeCopy, 1.0);
    });
    const double covered[] = {0.5, 1, 0.75, 0}; // of each pixel
    for (int x = 0; x < 4; ++x) {
        EXPECT_NEAR(canvas.pixelAt(x, 0) & 0xFF, 255 * (1 - covered[x]), 2) << x;
        EXPECT_EQ(canvas.pixelAt(x, 0) >> 24, 0xFFu) << x;
    }
}

// What lies beside the source rectangle in the picture must not bleed in, whatever the filter.
TEST(NSGraphicsContext, NothingBesideTheSourceShows) {
    const NSImage image = imageOf(bitmapOf({"gggrrrggg", "gggrrrggg", "gggrrrggg"}));
    for (const NSImageInterpolation interpolation :
         {NSImageInterpolationDefault, NSImageInterpolationNone, NSImageInterpolationLow, NSImageInterpolationMedium,
          NSImageInterpolationHigh})
        for (const NSRect& destination :
             {NSMakeRect(0, 0, 8, 8), NSMakeRect(0, 0, 2, 2), NSMakeRect(0.3, 0.6, 5.5, 3.1)}) {
            const auto canvas = drawn(8, 8, red, [&] {
                NSGraphicsContext::currentContext()->setImageInterpolation(interpolation);
                image.drawInRect_fromRect_operation_fraction(destination, NSMakeRect(3, 0, 3, 3), NSCompositeCopy, 1.0);
            });
            for (const Pixel pixel : canvas.pixels())
                ASSERT_EQ(pixel, red) << interpolation;
        }
}

TEST(NSGraphicsContext, FlatColoursStayFlat) {
    NSBitmapImageRep bitmap(37, 23);
    for (const Pixel colour : {Pixel{0xFF123456}, Pixel{0x80402010}, white, clear}) {
        std::fill(bitmap.pixels().begin(), bitmap.pixels().end(), colour);
        for (const NSImageInterpolation interpolation : {NSImageInterpolationLow, NSImageInterpolationHigh})
            for (const double side : {5.0, 37.0, 90.0}) {
                const auto canvas = drawn(side, side, black, [&] {
                    NSGraphicsContext::currentContext()->setImageInterpolation(interpolation);
                    imageOf(bitmap).drawInRect_fromRect_operation_fraction({{0, 0}, {side, side}}, {}, NSCompositeCopy,
                                                                           1.0);
                });
                for (const Pixel pixel : canvas.pixels())
                    ASSERT_EQ(pixel, colour) << side;
            }
    }
}

TEST(NSGraphicsContext, ContextsAreTheirThreadsOwnStack) {
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
    NSGraphicsContext::restoreGraphicsState(); // nothing saved: nothing happens
    const auto context = NSGraphicsContext::graphicsContextWithPixelSize(2, 2, {2, 2});
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(context);
    context->setImageInterpolation(NSImageInterpolationMedium);
    NSGraphicsContext::saveGraphicsState();
    context->setImageInterpolation(static_cast<NSImageInterpolation>(3));
    EXPECT_EQ(context->imageInterpolation(), NSImageInterpolationHigh);
    NSGraphicsContext::restoreGraphicsState();
    EXPECT_EQ(NSGraphicsContext::currentContext(), context);
    EXPECT_EQ(context->imageInterpolation(), NSImageInterpolationMedium);
    NSGraphicsContext::restoreGraphicsState();
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

} // namespace
} // namespace platform
