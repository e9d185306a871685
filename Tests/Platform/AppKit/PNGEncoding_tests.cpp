#include "AppKit/PNGEncoding.h"

#include "AppKit/ImageDecoding.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

struct PixelCase {
    NSBitmapImageRep::Pixel pixel;
};

TEST(PNGEncoding, KeepsEveryPixel) {
    const PixelCase rows[] = {{0xFF000000}, {0xFFFFFFFF}, {0xFF123456}, {0x00000000},
                              {0x80800040}, {0x01010001}, {0xFEFE7F00}, {0x7F000000}};
    NSBitmapImageRep page(std::size(rows), 2);
    for (int x = 0; x < page.pixelsWide(); ++x)
        page.row(1)[static_cast<std::size_t>(x)] = rows[x].pixel;
    const auto data = encodePNG(page);
    ASSERT_TRUE(data);
    const auto decoded = decodeImage(*data);
    ASSERT_EQ(decoded.size(), 1u);
    ASSERT_EQ(decoded[0].pixelsWide(), page.pixelsWide());
    ASSERT_EQ(decoded[0].pixelsHigh(), 2);
    for (int x = 0; x < page.pixelsWide(); ++x) {
        EXPECT_EQ(decoded[0].pixelAt(x, 0), 0u) << x;
        EXPECT_EQ(decoded[0].pixelAt(x, 1), rows[x].pixel) << x;
    }
}

} // namespace
} // namespace platform
