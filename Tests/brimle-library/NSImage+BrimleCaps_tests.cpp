// Artwork with end caps, pixel by pixel. The pictures use one letter a colour, so that every piece shows where it went.
#include "brimle/NSImage+Brimle.h"

#include "Tests/Support/TestBitmaps.h"

#include <cmath>
#include <gtest/gtest.h>

namespace brimle {
namespace {

using namespace platform;
using namespace tessaro_test;

// 30 x h: a red cap, a middle of five green and five blue columns, a white cap.
std::string line() {
    return std::string(10, 'r') + "gggggbbbbb" + std::string(10, 'w');
}

std::string repeated(std::string_view text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

std::string rowsOf(const std::string& row, int count) {
    std::string result = row;
    for (int i = 1; i < count; ++i)
        result += "/" + row;
    return result;
}

enum class Way { Stretched, Tiled };

NSBitmapImageRep capped(Way way, const NSImage& image, double wide, double high, NSRect rect, double left, double right,
                        NSCompositingOperation operation = NSCompositeCopy, double fraction = 1.0) {
    return drawn(wide, high, black, [&] {
        if (way == Way::Tiled)
            br_drawTiledInRect_leftCapWidth_rightCapWidth_operation_fraction(image, rect, left, right, operation,
                                                                             fraction);
        else
            br_drawStretchedInRect_leftCapWidth_rightCapWidth_operation_fraction(image, rect, left, right, operation,
                                                                                 fraction);
    });
}

struct Row {
    const char* what;
    Way way;
    double width; // of the destination, at x = 2 of 64
    double left, right;
    std::string expected; // of the destination and what follows
};

TEST(EndCaps, PiecesGoWhereTheyBelong) {
    const std::string r10(10, 'r');
    const std::string w10(10, 'w');
    const std::string middle = "gggggbbbbb";
    const Row rows[] = {
        {"three tiles and half a tile", Way::Tiled, 55, 10, 10, r10 + repeated(middle, 3) + "ggggg" + w10},
        {"exactly one tile", Way::Tiled, 30, 10, 10, line()},
        {"less than a tile", Way::Tiled, 23, 10, 10, r10 + "ggg" + w10},
        {"no middle left", Way::Tiled, 20, 10, 10, r10 + w10},
        {"caps cut by a narrow destination: scaled", Way::Tiled, 15, 10, 10, r10 + "wwwww"},
        {"narrower than a cap: all of it is the left cap", Way::Tiled, 5, 10, 10, "rrrrr"},
        {"caps as wide as the image", Way::Tiled, 40, 15, 15, ""},
        {"caps wider than the image", Way::Tiled, 40, 20, 15, ""},
        {"no caps", Way::Tiled, 45, 0, 0, line() + r10 + "ggggg"},
        {"stretched", Way::Stretched, 40, 10, 10, r10 + repeated("g", 10) + repeated("b", 10) + w10},
        {"stretched by nothing", Way::Stretched, 30, 10, 10, line()},
        {"shrunk", Way::Stretched, 22, 10, 10, r10 + "gb" + w10},
        {"caps as wide as the image: the middle is empty and paints nothing", Way::Stretched, 40, 15, 15,
         r10 + "ggggg" + repeated("k", 10) + "bbbbb" + w10},
        {"caps wider than the destination", Way::Stretched, 15, 10, 10, r10 + "wwwww"},
        {"caps much wider than both", Way::Stretched, 20, 50, 50, ""},
    };
    const NSImage image = imageOf(bitmapOf({line(), line()}));
    for (const Row& row : rows) {
        const auto canvas = capped(row.way, image, 64, 2, {{2, 0}, {row.width, 2}}, row.left, row.right);
        std::string expected = "kk" + row.expected;
        if (row.what == std::string_view("caps much wider than both")) {
            // The left cap takes the whole image and the whole destination.
            expected = "kk";
            for (int i = 0; i < 20; ++i)
                expected += line()[static_cast<std::size_t>((i + 0.5) * 1.5)];
        }
        expected.resize(64, 'k');
        EXPECT_EQ(lettersOf(canvas), rowsOf(expected, 2)) << row.what;
    }
}

// Three bands from the top, so that cut and squeezed pieces differ. 6 x 6 with caps of 2.
NSImage banded() {
    return imageOf(bitmapOf({"rrrrrr", "rrrrrr", "gggggg", "gggggg", "bbbbbb", "bbbbbb"}));
}

struct HeightCase {
    const char* what;
    Way way;
    double height;
    const char* expected; // rows from the top: cap, cap, tile, tile, ...
};

TEST(EndCaps, HeightsAreScaledForCapsAndCutForTiles) {
    const HeightCase rows[] = {
        {"tiled, lower: the lower part of the middle, unscaled", Way::Tiled, 3, "rrggggrr/ggbbbbgg/bbbbbbbb"},
        {"tiled, as high", Way::Tiled, 6, "rrrrrrrr/rrrrrrrr/gggggggg/gggggggg/bbbbbbbb/bbbbbbbb"},
        {"tiled, higher: stretched", Way::Tiled, 9,
         "rrrrrrrr/rrrrrrrr/rrrrrrrr/gggggggg/gggggggg/gggggggg/bbbbbbbb/bbbbbbbb/bbbbbbbb"},
        {"stretched, lower: squeezed", Way::Stretched, 3, "rrrrrrrr/gggggggg/bbbbbbbb"},
    };
    for (const HeightCase& row : rows) {
        const auto canvas = capped(row.way, banded(), 8, row.height, {{0, 0}, {8, row.height}}, 2, 2);
        EXPECT_EQ(lettersOf(canvas), row.expected) << row.what;
    }
}

// Operation and fraction reach every piece, tiles included.
TEST(EndCaps, OperationAndFractionArePassedOn) {
    const NSImage image = imageOf(bitmapOf({"wwwwww"}));
    for (const Way way : {Way::Stretched, Way::Tiled}) {
        const auto half = capped(way, image, 12, 1, {{0, 0}, {12, 1}}, 2, 2, NSCompositeSourceOver, 0.5);
        for (const Pixel pixel : half.pixels())
            EXPECT_NEAR(pixel & 0xFF, 127.5, 1);
        const auto kept = capped(way, image, 12, 1, {{0, 0}, {12, 1}}, 2, 2, NSCompositeDestinationOver, 1.0);
        EXPECT_EQ(lettersOf(kept), std::string(12, 'k'));
    }
}

// Later pieces lie over earlier ones where a negative cap makes them overlap: left, middle, right.
TEST(EndCaps, PiecesAreDrawnInOrder) {
    const NSImage image = imageOf(bitmapOf({"rrrgggbbb"}));
    // A left cap of -3 has no area; the middle begins 3 further left, in the picture and outside it.
    const auto negative = capped(Way::Stretched, image, 15, 1, {{3, 0}, {9, 1}}, -3, 3);
    EXPECT_EQ(lettersOf(negative), "kkkrrrgggbbbkkk");
    // A right cap of -3: the middle is 3 wider on the right.
    const auto right = capped(Way::Stretched, image, 15, 1, {{3, 0}, {9, 1}}, 3, -3);
    EXPECT_EQ(lettersOf(right), "kkkrrrgggbbbkkk");
    const auto tiles = capped(Way::Tiled, image, 15, 1, {{3, 0}, {9, 1}}, -3, 3);
    EXPECT_EQ(lettersOf(tiles), "kkkrrrgggbbbkkk");
}

TEST(EndCaps, DestinationsWithoutAnAreaDrawNothingAndEnd) {
    const NSImage image = imageOf(bitmapOf({line()}));
    for (const NSRect& rect :
         {NSMakeRect(0, 0, 0, 1), NSMakeRect(0, 0, -30, 1), NSMakeRect(0, 0, 30, 0), NSMakeRect(0, 0, 30, -5),
          NSMakeRect(std::nan(""), 0, 30, 1), NSMakeRect(1e18, 0, 1000, 1)})
        for (const Way way : {Way::Stretched, Way::Tiled})
            EXPECT_EQ(lettersOf(capped(way, image, 4, 1, rect, 10, 10)), "kkkk") << rect.size.width;
}

TEST(EndCaps, FractionalWidthsAreNotRounded) {
    const NSImage image = imageOf(bitmapOf({"rrggbb"}));
    // Caps of 1.5: the destination's middle runs from 1.5 to 4.5.
    const auto canvas = capped(Way::Stretched, image, 6, 1, {{0, 0}, {6, 1}}, 1.5, 1.5);
    EXPECT_EQ(canvas.pixelAt(0, 0), red);
    EXPECT_EQ(canvas.pixelAt(5, 0), blue);
    EXPECT_EQ(canvas.pixelAt(2, 0), green);
    // The pixel that the cut crosses is half covered by each piece, one after the other, and both show red there.
    EXPECT_NEAR(canvas.pixelAt(1, 0) >> 16 & 0xFF, 255 * 0.75, 2);
    EXPECT_EQ(canvas.pixelAt(1, 0) & 0xFFFF, 0u);
}

} // namespace
} // namespace brimle
