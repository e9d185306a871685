// What we write, read by programs of others: ImageMagick for the pixels, tiffinfo for the fields.
#include "AppKit/ImageDecoding.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TestBitmaps.h"
#include "Tests/Support/TestPictures.h"

#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <set>

namespace platform {
namespace {

using namespace tessaro_test;
using testing_support::TemporaryFolder;

std::string outputOf(const std::string& command) {
    std::string output;
    if (std::FILE* pipe = popen(command.c_str(), "r")) {
        std::array<char, 4096> buffer{};
        for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
            output.append(buffer.data(), count);
        pclose(pipe);
    }
    return output;
}

// Red, green, blue, alpha of each pixel, not premultiplied, as ImageMagick reads the file.
std::string samplesOf(const std::filesystem::path& file) {
    return outputOf("convert '" + file.string() + "[0]' -alpha on -depth 8 rgba:- 2>&1");
}

struct TypeCase {
    const char* extension;
    NSBitmapImageFileType type;
    unsigned number;
    const char* format; // as `identify` calls it
    int tolerance;
    bool hasAlpha;
};

const TypeCase types[] = {{"tiff", NSTIFFFileType, 0, "TIFF", 1, true}, {"bmp", NSBMPFileType, 1, "BMP3", 0, false},
                          {"gif", NSGIFFileType, 2, "GIF", 0, false},   {"jpg", NSJPEGFileType, 3, "JPEG", 6, false},
                          {"png", NSPNGFileType, 4, "PNG", 0, true},    {"jp2", NSJPEG2000FileType, 5, "JP2", 0, true}};

// Quarters in four colours; the last is half transparent where the type can say so.
NSBitmapImageRep quarters(bool hasAlpha) {
    NSBitmapImageRep bitmap(32, 32);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) {
            const Pixel upper = x < 16 ? red : green;
            const Pixel lower = x < 16 ? 0xFF204080 : hasAlpha ? halfRed : white;
            bitmap.row(y)[static_cast<std::size_t>(x)] = y < 16 ? upper : lower;
        }
    return bitmap;
}

// JPEG keeps less of colours than of brightness: they run over edges.
bool isNearAnEdge(std::size_t i) {
    const auto near = [](std::size_t at) { return at >= 12 && at < 20; };
    return near(i % 32) || near(i / 32);
}

std::array<int, 4> straightSamples(Pixel pixel) {
    const int alpha = static_cast<int>(pixel >> 24);
    const auto part = [&](unsigned shift) {
        return alpha == 0 ? 0 : (static_cast<int>(pixel >> shift & 0xFF) * 255 + alpha / 2) / alpha;
    };
    return {part(16), part(8), part(0), alpha};
}

TEST(BitmapEncoding, OthersReadEveryType) {
    const TemporaryFolder folder;
    for (const TypeCase& row : types) {
        EXPECT_EQ(row.type, row.number);
        const NSBitmapImageRep bitmap = quarters(row.hasAlpha);
        const auto data = bitmap.representationUsingType_properties(row.type, std::nullopt);
        ASSERT_TRUE(data) << row.extension;
        const auto file = folder / (std::string("picture.") + row.extension);
        testing_support::write(file, bytesAsCharacters(*data));
        EXPECT_EQ(outputOf("identify -format '%m %w %h' '" + file.string() + "' 2>&1")
                      .substr(0, std::string(row.format).size()),
                  row.format);
        const std::string samples = samplesOf(file);
        ASSERT_EQ(samples.size(), bitmap.pixels().size() * 4) << row.extension << ": " << samples.substr(0, 200);
        for (std::size_t i = 0; i < bitmap.pixels().size(); ++i)
            for (std::size_t c = 0; c < 4 && !(row.type == NSJPEGFileType && isNearAnEdge(i)); ++c)
                ASSERT_NEAR(static_cast<std::uint8_t>(samples[4 * i + c]), straightSamples(bitmap.pixels()[i])[c],
                            row.tolerance)
                    << row.extension << " pixel " << i << " sample " << c;
    }
}

TEST(BitmapEncoding, WeReadWhatWeWrite) {
    for (const TypeCase& row : types) {
        const NSBitmapImageRep bitmap = quarters(row.hasAlpha);
        const auto again = decodeImage(*bitmap.representationUsingType_properties(row.type, std::nullopt));
        ASSERT_EQ(again.size(), 1u) << row.extension;
        EXPECT_EQ(again[0].size(), bitmap.size()) << row.extension;
        if (row.tolerance <= 1) {
            EXPECT_TRUE(std::equal(bitmap.pixels().begin(), bitmap.pixels().end(), again[0].pixels().begin()))
                << row.extension;
        }
    }
}

TEST(BitmapEncoding, PNGKeepsEveryPixel) {
    const Pixel rows[] = {black, white, 0xFF123456, clear, 0x80800040, 0x01010001, 0xFEFE7F00, 0x7F000000};
    NSBitmapImageRep page(std::size(rows), 2);
    std::copy(std::begin(rows), std::end(rows), page.row(1).begin());
    for (const NSBitmapImageFileType type : {NSPNGFileType, NSJPEG2000FileType}) {
        const auto decoded = decodeImage(*page.representationUsingType_properties(type, std::nullopt));
        ASSERT_EQ(decoded.size(), 1u);
        EXPECT_TRUE(std::equal(page.pixels().begin(), page.pixels().end(), decoded[0].pixels().begin())) << type;
    }
}

TEST(BitmapEncoding, TransparencyShowsWhiteWhereATypeHasNone) {
    for (const NSBitmapImageFileType type : {NSBMPFileType, NSJPEGFileType}) {
        NSBitmapImageRep bitmap(16, 16);
        const auto empty = decodeImage(*bitmap.representationUsingType_properties(type, std::nullopt));
        ASSERT_EQ(empty.size(), 1u);
        EXPECT_EQ(empty[0].pixelAt(3, 3), white) << type;
        std::fill(bitmap.pixels().begin(), bitmap.pixels().end(), halfRed);
        const auto half = decodeImage(*bitmap.representationUsingType_properties(type, std::nullopt));
        EXPECT_NEAR(half[0].pixelAt(3, 3) & 0xFF, 0x7F, 3) << type;
        EXPECT_EQ(half[0].pixelAt(3, 3) >> 24, 0xFFu) << type;
    }
}

TEST(BitmapEncoding, GIFShowsAPixelOrDoesNot) {
    const auto decoded =
        decodeImage(*bitmapOf({"rh.", "gbw"}).representationUsingType_properties(NSGIFFileType, std::nullopt));
    ASSERT_EQ(decoded.size(), 1u);
    EXPECT_EQ(lettersOf(decoded[0]), "rr./gbw"); // half transparent red is shown, and red
}

TEST(BitmapEncoding, GIFQuantisesWhatHasManyColours) {
    const NSBitmapImageRep picture = photograph(120, 90);
    const auto decoded = decodeImage(*picture.representationUsingType_properties(NSGIFFileType, std::nullopt));
    ASSERT_EQ(decoded.size(), 1u);
    double squares = 0;
    for (std::size_t i = 0; i < picture.pixels().size(); ++i)
        for (const unsigned shift : {0u, 8u, 16u}) {
            const double error = static_cast<double>(picture.pixels()[i] >> shift & 0xFF) -
                                 static_cast<double>(decoded[0].pixels()[i] >> shift & 0xFF);
            squares += error * error;
        }
    EXPECT_GT(10 * std::log10(255.0 * 255 * 3 * static_cast<double>(picture.pixels().size()) / squares), 28);
    EXPECT_LE(std::set<Pixel>(decoded[0].pixels().begin(), decoded[0].pixels().end()).size(), 255u);
}

TEST(BitmapEncoding, TinyPicturesHaveEveryType) {
    for (const TypeCase& row : types)
        for (const auto& bitmap : {bitmapOf({"r"}), bitmapOf({"rrrrr"}), bitmapOf({"r", "r", "r"})}) {
            const auto data = bitmap.representationUsingType_properties(row.type, std::nullopt);
            ASSERT_TRUE(data) << row.extension;
            const auto again = decodeImage(*data);
            ASSERT_EQ(again.size(), 1u) << row.extension;
            EXPECT_EQ(again[0].size(), bitmap.size()) << row.extension;
        }
}

TEST(BitmapEncoding, UnknownTypesGiveNothing) {
    EXPECT_FALSE(
        bitmapOf({"r"}).representationUsingType_properties(static_cast<NSBitmapImageFileType>(6), std::nullopt));
}

TEST(BitmapEncoding, ResolutionsAreWrittenWhereTheTypeCan) {
    NSBitmapImageRep bitmap(32, 24);
    bitmap.setSize({16, 12});
    for (const NSBitmapImageFileType type : {NSTIFFFileType, NSPNGFileType, NSJPEGFileType}) {
        const auto again = decodeImage(*bitmap.representationUsingType_properties(type, std::nullopt));
        ASSERT_EQ(again.size(), 1u);
        EXPECT_EQ(again[0].size(), (NSSize{16, 12})) << type;
    }
}

TEST(BitmapEncoding, TIFFFieldsAreWhatReadersExpect) {
    const TemporaryFolder folder;
    const auto file = folder / "thumb.tiff";
    testing_support::write(file, bytesAsCharacters(*NSBitmapImageRep(301, 226).TIFFRepresentation()));
    const std::string fields = outputOf("tiffinfo '" + file.string() + "' 2>&1");
    for (const char* field :
         {"Image Width: 301 Image Length: 226", "Resolution: 72, 72 pixels/inch", "Bits/Sample: 8",
          "Compression Scheme: None", "Photometric Interpretation: RGB color", "Extra Samples: 1<assoc-alpha>",
          "Orientation: row 0 top, col 0 lhs", "Samples/Pixel: 4", "Planar Configuration: single image plane"})
        EXPECT_NE(fields.find(field), std::string::npos) << field << " is not in\n" << fields;
    EXPECT_EQ(fields.find("arning"), std::string::npos) << fields;
}

} // namespace
} // namespace platform
