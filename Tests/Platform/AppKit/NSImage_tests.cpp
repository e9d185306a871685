#include "AppKit/NSImage.h"

#include "Foundation/NSException.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

constexpr NSBitmapImageRep::Pixel red = 0xFFFF0000;
constexpr NSBitmapImageRep::Pixel green = 0xFF00FF00;
constexpr NSBitmapImageRep::Pixel blue = 0xFF0000FF;
constexpr NSBitmapImageRep::Pixel clear = 0;

// Rows of letters from the top: r, g, b, "." transparent, h half-transparent red.
NSBitmapImageRep bitmapOf(std::initializer_list<std::string_view> rows) {
    NSBitmapImageRep bitmap(static_cast<int>(rows.begin()->size()), static_cast<int>(rows.size()));
    int y = 0;
    for (const auto row : rows) {
        for (std::size_t x = 0; x < row.size(); ++x)
            bitmap.row(y)[x] = row[x] == 'r'   ? red
                               : row[x] == 'g' ? green
                               : row[x] == 'b' ? blue
                               : row[x] == 'h' ? 0x80800000
                                               : clear;
        ++y;
    }
    return bitmap;
}

std::string lettersOf(const NSBitmapImageRep& bitmap) {
    std::string text;
    for (int y = 0; y < bitmap.pixelsHigh(); ++y) {
        for (const auto pixel : bitmap.row(y))
            text += pixel == red          ? 'r'
                    : pixel == green      ? 'g'
                    : pixel == blue       ? 'b'
                    : pixel == clear      ? '.'
                    : pixel == 0x80800000 ? 'h'
                                          : '?';
        text += y + 1 < bitmap.pixelsHigh() ? "/" : "";
    }
    return text;
}

NSImage imageOf(const NSBitmapImageRep& bitmap) {
    NSImage image = NSImage::initWithSize(bitmap.size());
    image.addRepresentation(std::make_shared<const NSBitmapImageRep>(bitmap));
    return image;
}

const NSBitmapImageRep& onlyBitmap(const NSImage& image) {
    return dynamic_cast<const NSBitmapImageRep&>(*image.representations().at(0));
}

TEST(NSImage, DrawsWithTheYAxisUpwards) {
    NSImage image = NSImage::initWithSize({4, 3});
    EXPECT_FALSE(image.isValid());
    EXPECT_FALSE(image.TIFFRepresentation());
    image.lockFocus();
    imageOf(bitmapOf({"rg", "bh"}))
        .drawInRect_fromRect_operation_fraction(NSMakeRect(1, 0, 2, 2), NSZeroRect, NSCompositeCopy, 1.0);
    image.unlockFocus();
    EXPECT_TRUE(image.isValid());
    EXPECT_EQ(lettersOf(onlyBitmap(image)), "..../.rg./.bh.");
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

TEST(NSImage, SurvivesTheRoundTripThroughTIFF) {
    const NSBitmapImageRep bitmap = bitmapOf({"rgb.", "h.hr"});
    const auto data = bitmap.TIFFRepresentation();
    ASSERT_TRUE(data);
    const auto image = NSImage::initWithData(*data);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), (NSSize{4, 2}));
    EXPECT_EQ(lettersOf(onlyBitmap(*image)), "rgb./h.hr");
    EXPECT_EQ(image->TIFFRepresentation(), data);
}

TEST(NSImage, ReadsBackFromForeignPixels) {
    NSBitmapImageRep pixels = bitmapOf({"rgb", "ggg", "b.r"});
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(
        NSGraphicsContext::graphicsContextWithPremultipliedARGB32(pixels.pixels().data(), 3, 3, 12));
    const auto lowerLeft = NSBitmapImageRep::initWithFocusedViewRect(NSMakeRect(0, 0, 2, 2));
    const auto beyond = NSBitmapImageRep::initWithFocusedViewRect(NSMakeRect(2, -1, 2, 2));
    EXPECT_THROW(static_cast<void>(NSBitmapImageRep::initWithFocusedViewRect(NSMakeRect(0, 0, -3, 2))), NSException);
    NSGraphicsContext::restoreGraphicsState();
    EXPECT_EQ(lettersOf(lowerLeft), "gg/b.");
    EXPECT_EQ(lettersOf(beyond), "r./..");
    EXPECT_THROW(static_cast<void>(NSBitmapImageRep::initWithFocusedViewRect(NSMakeRect(0, 0, 1, 1))), NSException);
}

TEST(NSImage, ReducesAtHighQuality) {
    NSBitmapImageRep page(905, 680);
    for (int y = 0; y < 680; ++y)
        for (int x = 0; x < 905; ++x)
            page.row(y)[static_cast<std::size_t>(x)] = x < 452 ? red : green;
    NSImage thumb = NSImage::initWithSize({301, 226});
    thumb.lockFocus();
    NSGraphicsContext::currentContext()->setImageInterpolation(NSImageInterpolationHigh);
    imageOf(page).drawInRect_fromRect_operation_fraction(NSMakeRect(0, 0, 301, 226), NSZeroRect, NSCompositeCopy, 1.0);
    thumb.unlockFocus();
    EXPECT_EQ(onlyBitmap(thumb).pixelAt(10, 100), red);
    EXPECT_EQ(onlyBitmap(thumb).pixelAt(290, 100), green);
}

} // namespace
} // namespace platform
