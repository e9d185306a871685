// One picture of everything that draws, for a look at it: build/<preset>/images-contact-sheet.png. The test itself only
// makes sure that every cell was drawn into.
#include "brimle/NSImage+Brimle.h"

#include "Tests/Support/TestBitmaps.h"
#include "Tests/Support/TestPictures.h"

#include <cmath>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

namespace brimle {
namespace {

using namespace platform;
using namespace tessaro_test;

constexpr int cell = 100;
constexpr int columns = 7;
constexpr int rows = 6;

NSImage disc(Pixel colour) {
    NSBitmapImageRep bitmap(60, 60);
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 60; ++x)
            if (std::hypot(x - 29.5, y - 29.5) < 28)
                bitmap.row(y)[static_cast<std::size_t>(x)] = colour;
    return imageOf(bitmap);
}

// A bar with round ends and a pattern in the middle: 30 x 24, caps of 12, the lower half darker.
NSImage bar() {
    NSBitmapImageRep bitmap(30, 24);
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 30; ++x) {
            const double fromCentre = x < 12 ? 12 - x : x >= 18 ? x - 17 : 0;
            if (std::hypot(fromCentre, y - 11.5) > 12)
                continue;
            const Pixel base = x >= 12 && x < 18 ? (x < 15 ? 0xFFF0A030 : 0xFFC05010) : 0xFF3060C0;
            bitmap.row(y)[static_cast<std::size_t>(x)] = y < 12 ? base : (base >> 1 & 0x7F7F7F7F) | 0xFF000000;
        }
    return imageOf(bitmap);
}

struct Cell {
    const char* title;
    std::function<void(NSRect)> draw; // into this rectangle
};

std::vector<Cell> cells() {
    static const NSImage photo = imageOf(photograph(320, 200));
    static const NSImage text = imageOf(textPage(320, 200));
    static const NSImage upright = imageOf(photograph(120, 240));
    std::vector<Cell> all;
    const char* names[] = {"CLEAR", "COPY", "OVER",  "IN",  "OUT",    "ATOP",  "DOVER",
                           "DIN",   "DOUT", "DATOP", "XOR", "DARKER", "HIGHL", "LIGHTER"};
    for (unsigned operation = 0; operation < 14; ++operation)
        for (const double fraction : {1.0, 0.5})
            all.push_back(
                {names[operation], [operation, fraction](NSRect rect) {
                     NSImage scene = disc(0xFF3070D0);
                     scene.setSize({60, 60});
                     NSImage canvas = NSImage::initWithSize(rect.size);
                     canvas.lockFocus();
                     scene.drawInRect_fromRect_operation_fraction(NSMakeRect(5, 20, 60, 60), NSZeroRect,
                                                                  NSCompositeCopy, 1.0);
                     disc(0xC0C02000)
                         .drawInRect_fromRect_operation_fraction(NSMakeRect(30, 5, 60, 60), NSZeroRect,
                                                                 static_cast<NSCompositingOperation>(operation),
                                                                 fraction);
                     canvas.unlockFocus();
                     canvas.drawInRect_fromRect_operation_fraction(rect, NSZeroRect, NSCompositeSourceOver, 1.0);
                 }});
    const auto inset = [](NSRect rect, double dx, double dy) { return NSInsetRect(rect, dx, dy); };
    all.push_back({"PROP", [](NSRect rect) {
                       br_drawProportionallyInRect_operation_fraction(photo, rect, NSCompositeSourceOver, 1.0);
                   }});
    all.push_back({"PROP2", [](NSRect rect) {
                       br_drawProportionallyInRect_operation_fraction(upright, rect, NSCompositeSourceOver, 1.0);
                   }});
    all.push_back({"WIDER", [inset](NSRect rect) {
                       br_drawProportionallyInRect_operation_fraction(photo, inset(rect, 5, 40), NSCompositeSourceOver,
                                                                      0.5);
                   }});
    for (const NSImage* image : {&photo, &text, &upright})
        all.push_back({"SCALED", [image](NSRect rect) {
                           NSImage source = *image;
                           const auto scaled = br_imageByScalingProportionallyToSize(source, rect.size);
                           scaled->drawInRect_fromRect_operation_fraction(rect, NSZeroRect, NSCompositeSourceOver, 1.0);
                       }});
    all.push_back({"CGIMAGE", [](NSRect rect) {
                       const auto owned = br_toCGImage(bar());
                       const NSImage copy = br_imageWithCGImage(*owned);
                       copy.drawInRect_fromRect_operation_fraction(BRCenterRectInRect(copy.size(), rect), NSZeroRect,
                                                                   NSCompositeSourceOver, 1.0);
                   }});
    for (const double height : {24.0, 12.0, 48.0}) {
        all.push_back({"TILED", [height](NSRect rect) {
                           br_drawTiledInRect_leftCapWidth_rightCapWidth_operation_fraction(
                               bar(), BRCenterRectInRect({85, height}, rect), 12, 12, NSCompositeSourceOver, 1.0);
                       }});
        all.push_back({"STRETCH", [height](NSRect rect) {
                           br_drawStretchedInRect_leftCapWidth_rightCapWidth_operation_fraction(
                               bar(), BRCenterRectInRect({85, height}, rect), 12, 12, NSCompositeSourceOver, 1.0);
                       }});
    }
    all.push_back({"CIIMAGE", [](NSRect rect) {
                       const NSImage lazy = br_imageFromCIImage(*br_toCIImage(bar()));
                       lazy.drawInRect_fromRect_operation_fraction(BRCenterRectInRect({90, 72}, rect), NSZeroRect,
                                                                   NSCompositeSourceOver, 1.0);
                   }});
    return all;
}

TEST(ContactSheet, ShowsEveryOperation) {
    const std::vector<Cell> all = cells();
    ASSERT_EQ(all.size(), static_cast<std::size_t>(columns * rows));
    NSBitmapImageRep paper(columns * cell, rows * cell);
    for (int y = 0; y < paper.pixelsHigh(); ++y)
        for (int x = 0; x < paper.pixelsWide(); ++x)
            paper.row(y)[static_cast<std::size_t>(x)] = (x / 10 + y / 10) % 2 == 0 ? white : 0xFFE0E0E0;
    NSImage sheet = imageOf(paper);
    sheet.lockFocus();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::size_t row = rows - 1 - i / columns;
        const NSRect frame =
            NSMakeRect(static_cast<double>(i % columns * cell), static_cast<double>(row * cell), cell, cell);
        all[i].draw(NSInsetRect(frame, 2, 6));
    }
    sheet.unlockFocus();
    NSBitmapImageRep picture = onlyBitmap(sheet);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const int left = static_cast<int>(i % columns) * cell;
        const int top = static_cast<int>(i / columns) * cell;
        int changed = 0;
        for (int y = top; y < top + cell; ++y)
            for (int x = left; x < left + cell; ++x)
                changed += picture.pixelAt(x, y) != paper.pixelAt(x, y) ? 1 : 0;
        EXPECT_GT(changed, 500) << all[i].title;
        putText(picture, left + 3, top + 2, all[i].title, black);
    }
    const auto png = picture.representationUsingType_properties(NSPNGFileType, std::nullopt);
    ASSERT_TRUE(png);
    std::ofstream(CONTACT_SHEET, std::ios::binary) << bytesAsCharacters(*png);
}

} // namespace
} // namespace brimle
