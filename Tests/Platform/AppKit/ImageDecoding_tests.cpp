// The files in Tests/Data/images show four quarters: red, green, blue, and white (half transparent in "alpha..." and
// the icon families). They were made with ImageMagick, cwebp and png2icns, the masked icons by hand.
#include "AppKit/ImageDecoding.h"

#include "AppKit/AnimationFrames.h"
#include "AppKit/NSImage.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace platform {
namespace {

using Pixel = NSBitmapImageRep::Pixel;

Data readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Data fixture(std::string_view name) {
    Data data = readFile(std::string(TEST_DATA_FOLDER "/images/").append(name));
    EXPECT_FALSE(data.empty()) << name;
    return data;
}

bool isNear(Pixel a, Pixel b, int tolerance) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        if (std::abs(static_cast<int>(a >> shift & 0xFF) - static_cast<int>(b >> shift & 0xFF)) > tolerance)
            return false;
    return true;
}

struct Row {
    const char* file;
    std::size_t representations;
    int wide;
    int high;
    NSSize points;
    Pixel lowerRight;
    int tolerance = 0;
    Pixel upperLeft = 0xFFFF0000;
};

constexpr Pixel white = 0xFFFFFFFF;
constexpr Pixel halfWhite = 0x80808080;

const Row rows[] = {
    {"alpha.png", 1, 16, 12, {16, 12}, halfWhite},
    {"alpha16.png", 1, 16, 12, {16, 12}, halfWhite},
    {"alpha-interlaced.png", 1, 16, 12, {16, 12}, halfWhite},
    {"opaque.png", 1, 16, 12, {16, 12}, white},
    {"opaque-palette.png", 1, 16, 12, {16, 12}, white},
    {"opaque-144dpi.png", 1, 16, 12, {8, 6}, white},
    {"opaque.jpg", 1, 16, 12, {16, 12}, white, 8},
    {"opaque-progressive.jpg", 1, 16, 12, {16, 12}, white, 8},
    {"opaque-144dpi.jpg", 1, 16, 12, {8, 6}, white, 8},
    {"opaque.gif", 1, 16, 12, {16, 12}, white},
    {"opaque-animated.gif", 1, 16, 12, {16, 12}, white},
    {"transparent.gif", 1, 16, 12, {16, 12}, 0},
    {"opaque24.bmp", 1, 16, 12, {16, 12}, white},
    {"opaque-palette.bmp", 1, 16, 12, {16, 12}, white},
    {"opaque-rle.bmp", 1, 16, 12, {16, 12}, white},
    {"opaque-os2.bmp", 1, 16, 12, {16, 12}, white},
    {"alpha-unassociated-lzw.tiff", 1, 16, 12, {16, 12}, halfWhite, 1},
    {"opaque-zip.tiff", 1, 16, 12, {16, 12}, white},
    {"opaque16.tiff", 1, 16, 12, {16, 12}, white},
    {"opaque-bigendian.tiff", 1, 16, 12, {16, 12}, white},
    {"opaque-144dpi.tiff", 1, 16, 12, {8, 6}, white},
    {"opaque-two-pages.tiff", 2, 32, 24, {32, 24}, white},
    {"alpha-lossless.webp", 1, 16, 12, {16, 12}, halfWhite},
    {"opaque-lossy.webp", 1, 16, 12, {16, 12}, white, 12},
    {"opaque-animated.webp", 1, 16, 12, {16, 12}, white, 12},
    {"opaque.jp2", 1, 16, 12, {16, 12}, white, 2},
    {"alpha.jp2", 1, 16, 12, {16, 12}, halfWhite, 2},
    {"opaque.j2k", 1, 16, 12, {16, 12}, white, 2},
    {"alpha32.ico", 1, 16, 12, {16, 12}, halfWhite},
    {"alpha-two-sizes.ico", 2, 32, 24, {32, 24}, halfWhite},
    {"png-and-bitmap.ico", 2, 16, 12, {16, 12}, halfWhite},
    {"opaque-palette.ico", 1, 16, 12, {16, 12}, white},
    {"masked32.ico", 1, 16, 12, {16, 12}, 0},
    {"masked24.ico", 1, 16, 12, {16, 12}, 0},
    {"masked8.ico", 1, 16, 12, {16, 12}, 0},
    {"masked4.ico", 1, 16, 12, {16, 12}, 0},
    {"masked1.ico", 1, 16, 12, {16, 12}, 0, 0, 0xFF000000},
    {"masked.icns", 4, 128, 128, {128, 128}, halfWhite},
    {"files.icns", 4, 32, 32, {16, 16}, halfWhite, 2},
};

TEST(ImageDecoding, ReadsEveryKind) {
    for (const Row& row : rows) {
        const auto found = decodeImage(fixture(row.file));
        ASSERT_EQ(found.size(), row.representations) << row.file;
        EXPECT_EQ(found[0].pixelsWide(), row.wide) << row.file;
        EXPECT_EQ(found[0].pixelsHigh(), row.high) << row.file;
        EXPECT_EQ(found[0].size(), row.points) << row.file;
        for (const auto& bitmap : found) {
            const int right = bitmap.pixelsWide() * 3 / 4;
            const int low = bitmap.pixelsHigh() * 3 / 4;
            const int left = bitmap.pixelsWide() / 4;
            const int high = bitmap.pixelsHigh() / 4;
            const bool isOneBit = row.upperLeft == 0xFF000000;
            EXPECT_TRUE(isNear(bitmap.pixelAt(left, high), row.upperLeft, row.tolerance))
                << row.file << std::hex << " " << bitmap.pixelAt(left, high);
            EXPECT_TRUE(isNear(bitmap.pixelAt(right, high), isOneBit ? white : 0xFF00FF00, row.tolerance))
                << row.file << std::hex << " " << bitmap.pixelAt(right, high);
            EXPECT_TRUE(isNear(bitmap.pixelAt(left, low), isOneBit ? row.upperLeft : 0xFF0000FF, row.tolerance))
                << row.file << std::hex << " " << bitmap.pixelAt(left, low);
            EXPECT_TRUE(isNear(bitmap.pixelAt(right, low), row.lowerRight, row.tolerance))
                << row.file << std::hex << " " << bitmap.pixelAt(right, low);
        }
    }
}

TEST(ImageDecoding, EveryFileOfTheFolderHasARow) {
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TEST_DATA_FOLDER "/images")) {
        ++files;
        EXPECT_TRUE(std::any_of(std::begin(rows), std::end(rows), [&](const Row& row) {
            return entry.path().filename() == row.file;
        })) << entry.path();
    }
    EXPECT_EQ(files, std::size(rows));
}

TEST(ImageDecoding, IconFamiliesKeepTheirPoints) {
    const auto found = decodeImage(fixture("files.icns"));
    ASSERT_EQ(found.size(), 4u);
    const int pixels[] = {32, 32, 16, 16};
    const double points[] = {16, 32, 16, 16}; // the first is the form of 16 points for screens of double density
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(found[i].pixelsWide(), pixels[i]) << i;
        EXPECT_EQ(found[i].size(), (NSSize{points[i], points[i]})) << i;
    }
}

bool isSound(const NSBitmapImageRep& bitmap) {
    return std::all_of(bitmap.pixels().begin(), bitmap.pixels().end(), [](Pixel pixel) {
        const Pixel alpha = pixel >> 24;
        return (pixel >> 16 & 0xFF) <= alpha && (pixel >> 8 & 0xFF) <= alpha && (pixel & 0xFF) <= alpha;
    });
}

TEST(ImageDecoding, CutFilesGiveWhatIsUsableOrNothing) {
    for (const Row& row : rows) {
        const Data whole = fixture(row.file);
        const std::size_t step = std::max<std::size_t>(1, whole.size() / 200);
        for (std::size_t length = 0; length < whole.size(); length += step)
            for (const auto& bitmap : decodeImage(DataView(whole).first(length)))
                ASSERT_TRUE(isSound(bitmap)) << row.file << " cut to " << length;
    }
}

TEST(ImageDecoding, AFamilyKeepsTheEntriesBeforeTheCut) {
    const Data icon = fixture("alpha-two-sizes.ico");
    EXPECT_EQ(decodeImage(DataView(icon).first(icon.size() - 1500)).size(), 1u);
    const Data family = fixture("masked.icns");
    EXPECT_EQ(decodeImage(DataView(family).first(900)).size(), 2u); // the second without its mask
}

TEST(ImageDecoding, RefusesWhatIsNoImage) {
    for (const std::string_view text :
         {"", "B", "BM", "GIF89a", "\x89PNG\r\n\x1A\n", "<!DOCTYPE html><title>Not Found</title>", "II*", "icns",
          "\xFF\xD8\xFF", "RIFF....WEBPVP8 ", "<svg xmlns='http://www.w3.org/2000/svg'/>", "/* XPM */",
          "P6 1 1 255 abc"})
        EXPECT_TRUE(decodeImage(charactersAsBytes(text)).empty()) << text;
}

void putBig(Data& data, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i)
        data[offset + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

// The same bytes with other dimensions in the header.
struct Bomb {
    const char* file;
    std::size_t offset;
    std::vector<std::uint8_t> bytes;
};

TEST(ImageDecoding, RefusesHugeDimensionsBeforeDecoding) {
    const Bomb bombs[] = {
        {"opaque.gif", 6, {0xFF, 0xFF, 0xFF, 0xFF}},
        {"opaque24.bmp", 18, {0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0, 0}},
        {"opaque24.bmp", 18, {0x10, 0, 0, 0, 0, 0, 0, 0x80}},
        {"opaque24.bmp", 18, {0x10, 0, 0, 0x80, 0x0C, 0, 0, 0}},
        {"opaque.png", 16, {0, 0, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF}},
        {"opaque-animated.webp", 24, {0xFF, 0xFF, 0, 0xFF, 0xFF, 0}},
        {"alpha32.ico", 22 + 4, {0, 0, 1, 0, 0, 0, 2, 0}},
    };
    for (const Bomb& bomb : bombs) {
        Data data = fixture(bomb.file);
        std::copy(bomb.bytes.begin(), bomb.bytes.end(), data.begin() + static_cast<std::ptrdiff_t>(bomb.offset));
        EXPECT_TRUE(decodeImage(data).empty()) << bomb.file;
    }
    Data picture = fixture("opaque.gif"); // the canvas stays small and the picture sticks out of it
    const auto descriptor = std::find(picture.begin(), picture.end(), 0x2C);
    ASSERT_NE(descriptor, picture.end());
    std::fill(descriptor + 5, descriptor + 9, 0xFF);
    EXPECT_TRUE(decodeImage(picture).empty());
}

struct BoundCase {
    std::uint32_t wide;
    std::uint32_t high;
    bool accepted;
};

TEST(ImageDecoding, BoundsAreExact) {
    const BoundCase cases[] = {
        {1, 1, true},         {8192, 1, true},     {8193, 1, false}, {1, 8192, true}, {1, 8193, false},
        {8192, 4096, true},   {8192, 4097, false}, {0, 1, false},    {1, 0, false},   {0xFFFFFFFF, 0xFFFFFFFF, false},
        {65536, 65536, false}};
    for (const BoundCase& bound : cases)
        EXPECT_EQ(isAcceptable({bound.wide, bound.high}, maximumImagePixels), bound.accepted)
            << bound.wide << " x " << bound.high;
}

// Many entries that point at one large picture: the bound holds for the file, not for the entry.
TEST(ImageDecoding, TheBudgetCountsAllEntries) {
    NSBitmapImageRep large(4096, 4096);
    constexpr std::size_t count = 3;
    Data icon = {0, 0, 1, 0, count, 0};
    Data bitmap(40 + std::size_t{4096} * 4096 / 8 * 2, 0);
    const std::uint8_t header[] = {40, 0, 0, 0, 0, 16, 0, 0, 0, 32, 0, 0, 1, 0, 1, 0};
    std::copy(std::begin(header), std::end(header), bitmap.begin());
    for (std::size_t i = 0; i < count; ++i) {
        Data entry(16, 0);
        const auto size = static_cast<std::uint32_t>(bitmap.size() + 8);
        const std::uint32_t offset = 6 + 16 * count;
        std::memcpy(entry.data() + 8, &size, 4);
        std::memcpy(entry.data() + 12, &offset, 4);
        icon.insert(icon.end(), entry.begin(), entry.end());
    }
    bitmap.insert(bitmap.begin() + 40, 8, 0xFF); // two palette colours
    icon.insert(icon.end(), bitmap.begin(), bitmap.end());
    EXPECT_EQ(decodeImage(icon).size(), 2u);
}

TEST(ImageDecoding, RefusesProgressiveBombs) {
    Data data = fixture("opaque-progressive.jpg");
    ASSERT_FALSE(decodeImage(data).empty());
    const std::uint8_t scan[] = {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0x10};
    for (int i = 0; i < 100; ++i)
        data.insert(data.end() - 2, std::begin(scan), std::end(scan));
    EXPECT_TRUE(decodeImage(data).empty());
}

TEST(ImageDecoding, ReadsOnlyTheFirstFrameOfAnimations) {
    const Data animated = fixture("opaque-animated.gif");
    const Data first = firstFrameOfGIF(animated);
    EXPECT_LT(first.size(), animated.size());
    EXPECT_EQ(first.back(), 0x3B);
    EXPECT_EQ(decodeImage(first).size(), 1u);
    // A later frame of absurd size is never looked at.
    Data bomb = animated;
    const auto second = std::find(bomb.rbegin(), bomb.rend(), 0x2C);
    ASSERT_NE(second, bomb.rend());
    std::fill(second.base() + 4, second.base() + 8, 0xFF);
    EXPECT_EQ(decodeImage(bomb).size(), 1u);
}

TEST(ImageDecoding, AnImageTakesTheSizeOfItsLargestForm) {
    const auto image = NSImage::initWithData(fixture("alpha-two-sizes.ico"));
    ASSERT_TRUE(image);
    EXPECT_TRUE(image->isValid());
    EXPECT_EQ(image->size(), (NSSize{32, 24}));
    EXPECT_EQ(image->representations().size(), 2u);
    const auto pages = image->TIFFRepresentation();
    ASSERT_TRUE(pages);
    EXPECT_EQ(decodeImage(*pages).size(), 2u);
    EXPECT_FALSE(NSImage::initWithData({}));
}

// The first picture of an animation may be smaller than its canvas.
TEST(ImageDecoding, PlacesTheFirstPictureOfAWebPAnimation) {
    Data data = fixture("opaque-animated.webp");
    ASSERT_EQ(data[20] & 2, 2);
    data[24] = 39; // the canvas: 40 x 30
    data[27] = 29;
    const auto frame = std::search(data.begin(), data.end(), "ANMF", "ANMF" + 4);
    ASSERT_NE(frame, data.end());
    frame[8] = 5; // at 10, 14 pixels
    frame[11] = 7;
    const auto found = decodeImage(data);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].size(), (NSSize{40, 30}));
    EXPECT_EQ(found[0].pixelAt(9, 14), 0u);
    EXPECT_EQ(found[0].pixelAt(10, 13), 0u);
    EXPECT_TRUE(isNear(found[0].pixelAt(12, 16), 0xFFFF0000, 12));
    EXPECT_TRUE(isNear(found[0].pixelAt(24, 24), white, 12));
    EXPECT_EQ(found[0].pixelAt(26, 25), 0u);
    frame[8] = 13; // 26 + 16 pixels: out of the canvas
    EXPECT_TRUE(decodeImage(data).empty());
}

// A PNG with any dimensions: only its header matters here.
TEST(ImageDecoding, RefusesPNGsByTheirHeader) {
    for (const std::uint32_t side : {8193u, 100000u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0u}) {
        Data data = fixture("opaque.png");
        putBig(data, 16, side);
        EXPECT_TRUE(decodeImage(data).empty()) << side;
    }
}

} // namespace
} // namespace platform
