// What is in the picture: the part of the view that is captured, and how it is scaled.
#include "Harness.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace end_to_end {
namespace {

using Bitmap = platform::NSBitmapImageRep;
using testing::HasSubstr;

// The fields of bands.html as a picture of 301 x 226 shows them: 452 of 905 points become 150.3 pixels, 340 of 680
// become 113. Pixels this near to a border are mixed by the scaling.
constexpr int borderX = 150;
constexpr int borderY = 113;
constexpr int mixed = 4;

Bitmap::Pixel fieldAt(int x, int y) {
    const bool right = x >= borderX;
    const bool lower = y >= borderY;
    return lower ? (right ? 0xFFFFFFFF : 0xFF0000FF) : (right ? 0xFF00FF00 : 0xFFFF0000);
}

// The first pixel that is not what the fields say; empty when all are.
std::string firstWrongPixel(const Bitmap& picture) {
    for (int y = 0; y < picture.pixelsHigh(); ++y)
        for (int x = 0; x < picture.pixelsWide(); ++x)
            if (std::abs(x - borderX) > mixed && std::abs(y - borderY) > mixed &&
                picture.pixelAt(x, y) != fieldAt(x, y))
                return std::to_string(x) + "," + std::to_string(y) + ": " + describe(picture.pixelAt(x, y));
    return "";
}

struct ScaleCase {
    const char* name;
    std::map<std::string, std::optional<std::string>> environment;
};

TEST(Pictures, LeaveOutTheRightAndTheBottomBandAndNothingElse) {
    const ScaleCase rows[] = {
        {"plain", {}},
        {"a desktop's scale", {{"GDK_SCALE", "2"}, {"GDK_DPI_SCALE", "2"}, {"QT_SCALE_FACTOR", "2"}}},
        {"a theme", {{"GTK_THEME", "HighContrast"}}},
    };
    for (const ScaleCase& row : rows) {
        CaptureOptions options;
        options.process.environment = row.environment;
        Capture capture(Site::shared().url("/bands.html"), options);
        capture.finish();
        ASSERT_TRUE(capture.hasRecord()) << row.name << capture.complaints();
        const Bitmap picture = capture.picture();
        ASSERT_EQ(picture.pixelsWide(), 301) << row.name;
        ASSERT_EQ(picture.pixelsHigh(), 226) << row.name;
        EXPECT_EQ(firstWrongPixel(picture), "") << row.name;
    }
}

TEST(Pictures, AreScaledSmoothly) {
    // Stripes of one pixel: whoever only picks pixels gets black and white, a good filter an even grey.
    Capture capture(Site::shared().url("/stripes.html"));
    capture.finish();
    const Bitmap picture = capture.picture();
    for (int y = 0; y < picture.pixelsHigh(); y += 25)
        for (int x = mixed; x < picture.pixelsWide() - mixed; ++x) {
            const unsigned grey = picture.pixelAt(x, y) & 0xFF;
            ASSERT_GT(grey, 0x60u) << x << "," << y;
            ASSERT_LT(grey, 0xA0u) << x << "," << y;
        }
}

TEST(Pictures, AreOpaqueWhereThePagePaintsNothing) {
    Capture capture(Site::shared().url("/blank.html"));
    capture.finish();
    const Bitmap picture = capture.picture();
    for (const Bitmap::Pixel pixel : picture.pixels())
        ASSERT_EQ(describe(pixel), "0xFFFFFFFF");
}

TEST(Pictures, OfAnAnimationAreStill) {
    // A picture of a moment: one frame of the three, not a mixture.
    Capture capture(Site::shared().url("/animated.html"));
    capture.finish();
    const Bitmap picture = capture.picture();
    EXPECT_THAT(describe(picture.pixelAt(100, 100)), testing::AnyOf("0xFF00FF00", "0xFFFF0000", "0xFF0000FF"));
    for (const Bitmap::Pixel pixel : picture.pixels())
        ASSERT_EQ(describe(pixel), describe(picture.pixelAt(100, 100)));
}

// Many pages paint from a callback of the first frame behind the load.
TEST(Pictures, ShowTheFirstFrameAfterTheLoad) {
    Capture capture(Site::shared().url("/first-frame.html"));
    capture.finish();
    ASSERT_TRUE(capture.hasRecord()) << capture.complaints();
    EXPECT_EQ(describe(capture.picture().pixelAt(borderX, borderY)), "0xFF00FF00");
}

// The driver of which is loaded for such a page only.
TEST(Pictures, ShowWhatWebGLDraws) {
    Capture capture(Site::shared().url("/webgl.html"));
    capture.finish();
    ASSERT_TRUE(capture.hasRecord()) << capture.complaints();
    const Bitmap picture = capture.picture();
    EXPECT_EQ(describe(picture.pixelAt(borderX - mixed, borderY)), "0xFF0066FF");
    EXPECT_EQ(describe(picture.pixelAt(borderX + mixed, borderY)), "0xFFFF6600");
}

TEST(Pictures, AreReadByOthersToo) {
    const TemporaryFolder folder;
    Capture capture(Site::shared().url("/bands.html"));
    capture.finish();
    const std::string file = folder / "large.tiff";
    testing_support::write(file, platform::bytesAsCharacters(capture.record().value().large));
    const auto info = testing_support::run("tiffinfo", {"-D", file});
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.errors, "");
    EXPECT_THAT(info.output, HasSubstr("Image Width: 301 Image Length: 226"));
    const auto identified = testing_support::run(
        "identify", {"-format", "%wx%h %[pixel:p{20,20}] %[pixel:p{280,20}] %[pixel:p{20,200}]", file});
    EXPECT_EQ(identified.status, 0) << identified.errors;
    EXPECT_THAT(identified.output,
                testing::MatchesRegex("301x226 srgba?\\(255,0,0.* srgba?\\(0,255,0.* srgba?\\(0,0,255.*"));
}

} // namespace
} // namespace end_to_end
