// The fixed-point filters against the same filters in double precision, written down once more from their definitions.
#include "AppKit/ImageScaling.h"

#include "Tests/Support/TestBitmaps.h"
#include "Tests/Support/TestPictures.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <numeric>

namespace platform {
namespace {

using namespace tessaro_test;

using Filter = std::function<double(double)>;

double sinc(double x) {
    return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}
double lanczos(double x) {
    return std::abs(x) < 3 ? sinc(x) * sinc(x / 3) : 0;
}
double tent(double x) {
    return std::max(0.0, 1 - std::abs(x));
}

struct Weights {
    std::size_t first = 0; // the sample that the first weight is for
    std::vector<double> values;
};

// For each of m results the weights of n samples, those that are not zero.
std::vector<Weights> weightsFor(std::size_t n, int m, const Filter& filter) {
    const double step = static_cast<double>(n) / m;
    const double widened = std::max(1.0, step);
    std::vector<Weights> all;
    for (int i = 0; i < m; ++i) {
        Weights& weights = all.emplace_back();
        double sum = 0;
        for (std::size_t k = 0; k < n; ++k) {
            const double distance = (static_cast<double>(k) + 0.5 - (i + 0.5) * step) / widened;
            if (std::abs(distance) >= 3)
                continue;
            if (weights.values.empty())
                weights.first = k;
            weights.values.push_back(filter(distance));
            sum += weights.values.back();
        }
        for (double& weight : weights.values)
            weight /= sum;
    }
    return all;
}

using Plane = std::vector<std::vector<double>>; // rows

Plane transposed(const Plane& plane) {
    Plane result(plane[0].size(), std::vector<double>(plane.size()));
    for (std::size_t y = 0; y < plane.size(); ++y)
        for (std::size_t x = 0; x < plane[y].size(); ++x)
            result[x][y] = plane[y][x];
    return result;
}

// Each row scaled to as many samples as there are rows of weights.
Plane scaledRows(const Plane& plane, const std::vector<Weights>& all) {
    Plane result;
    for (const auto& row : plane) {
        std::vector<double>& scaled = result.emplace_back();
        for (const Weights& weights : all)
            scaled.push_back(std::inner_product(weights.values.begin(), weights.values.end(),
                                                row.begin() + static_cast<std::ptrdiff_t>(weights.first), 0.0));
    }
    return result;
}

Plane scaledPlane(const NSBitmapImageRep& bitmap, unsigned shift, int wide, int high, const Filter& filter) {
    Plane plane;
    for (int y = 0; y < bitmap.pixelsHigh(); ++y) {
        std::vector<double>& row = plane.emplace_back();
        for (const Pixel pixel : bitmap.row(y))
            row.push_back(pixel >> shift & 0xFF);
    }
    const auto columns = transposed(scaledRows(plane, weightsFor(plane[0].size(), wide, filter)));
    return transposed(scaledRows(columns, weightsFor(plane.size(), high, filter)));
}

// Decibels of the colours (alpha not counted) against the unrounded reference, clamped as a pixel is.
double peakSignalToNoise(const NSBitmapImageRep& bitmap, const NSBitmapImageRep& scaled, const Filter& filter) {
    double squares = 0;
    double count = 0;
    for (const unsigned shift : {0u, 8u, 16u}) {
        const Plane reference = scaledPlane(bitmap, shift, scaled.pixelsWide(), scaled.pixelsHigh(), filter);
        for (int y = 0; y < scaled.pixelsHigh(); ++y)
            for (int x = 0; x < scaled.pixelsWide(); ++x) {
                const double expected =
                    std::clamp(reference[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)], 0.0, 255.0);
                const double error = (scaled.pixelAt(x, y) >> shift & 0xFF) - expected;
                squares += error * error;
                ++count;
            }
    }
    return 10 * std::log10(255.0 * 255.0 * count / squares);
}

NSBitmapImageRep scaledTo(const NSBitmapImageRep& bitmap, int wide, int high, NSImageInterpolation interpolation) {
    return resampledBitmap(bitmap, NSMakeRect(0, 0, bitmap.pixelsWide(), bitmap.pixelsHigh()),
                           NSMakeRect(0, 0, wide, high), {0, 0, wide, high}, interpolation);
}

struct QualityCase {
    const char* name;
    NSBitmapImageRep picture;
    int wide;
    int high;
};

TEST(ImageScaling, KeepsToTheFilters) {
    const QualityCase rows[] = {
        {"photograph to thumbnail", photograph(905, 680), 301, 226},
        {"text to thumbnail", textPage(905, 680), 301, 226},
        {"photograph enlarged", photograph(60, 40), 143, 91},
        {"text reduced a little", textPage(120, 90), 113, 83},
        {"text to a strip", textPage(300, 200), 7, 190},
        {"a single column", photograph(1, 50), 9, 13},
    };
    for (const QualityCase& row : rows) {
        const double high = peakSignalToNoise(
            row.picture, scaledTo(row.picture, row.wide, row.high, NSImageInterpolationHigh), lanczos);
        const double low =
            peakSignalToNoise(row.picture, scaledTo(row.picture, row.wide, row.high, NSImageInterpolationLow), tent);
        // Rounding to whole numbers alone leaves 58.9 dB.
        EXPECT_GE(high, 55) << row.name;
        EXPECT_GE(low, 55) << row.name;
        RecordProperty(row.name, std::to_string(high));
    }
}

TEST(ImageScaling, OvershootStaysWithinAlpha) {
    NSBitmapImageRep bitmap(64, 64);
    std::uint32_t random = 3;
    for (auto& pixel : bitmap.pixels())
        pixel = nextRandom(random) % 2 == 0 ? clear : nextRandom(random) % 2 == 0 ? halfRed : white;
    for (const int side : {5, 21, 64, 150}) {
        const auto scaled = scaledTo(bitmap, side, side, NSImageInterpolationHigh);
        for (const Pixel pixel : scaled.pixels()) {
            const Pixel alpha = pixel >> 24;
            ASSERT_TRUE((pixel >> 16 & 0xFF) <= alpha && (pixel >> 8 & 0xFF) <= alpha && (pixel & 0xFF) <= alpha)
                << side << std::hex << " " << pixel;
        }
    }
}

// Any part of a scaled picture is the part of the scaled picture.
TEST(ImageScaling, BoxesAreCutOutOfTheWhole) {
    const auto picture = photograph(80, 60);
    const NSRect source = NSMakeRect(3.25, 5.5, 70.5, 50.25);
    const NSRect destination = NSMakeRect(-4.5, 2.25, 60.75, 44.5);
    const auto whole = resampledBitmap(picture, source, destination, {-5, 2, 57, 47}, NSImageInterpolationHigh);
    for (const PixelBox& box : {PixelBox{0, 3, 1, 4}, PixelBox{10, 10, 30, 21}, PixelBox{56, 46, 57, 47}}) {
        const auto part = resampledBitmap(picture, source, destination, box, NSImageInterpolationHigh);
        for (int y = 0; y < box.height(); ++y)
            for (int x = 0; x < box.width(); ++x)
                ASSERT_EQ(part.pixelAt(x, y), whole.pixelAt(box.left + x + 5, box.top + y - 2)) << x << " " << y;
    }
}

TEST(ImageScaling, MirrorImagesScaleToMirrorImages) {
    const auto picture = textPage(90, 70);
    NSBitmapImageRep mirrored(90, 70);
    for (int y = 0; y < 70; ++y)
        std::reverse_copy(picture.row(69 - y).begin(), picture.row(69 - y).end(), mirrored.row(y).begin());
    const auto a = scaledTo(picture, 31, 23, NSImageInterpolationHigh);
    const auto b = scaledTo(mirrored, 31, 23, NSImageInterpolationHigh);
    for (int y = 0; y < 23; ++y)
        for (int x = 0; x < 31; ++x)
            ASSERT_NEAR(static_cast<double>(a.pixelAt(x, y) & 0xFF),
                        static_cast<double>(b.pixelAt(30 - x, 22 - y) & 0xFF), 1);
}

TEST(ImageScaling, NearestTakesOnePixelEach) {
    EXPECT_EQ(lettersOf(scaledTo(bitmapOf({"rgb"}), 9, 1, NSImageInterpolationNone)), "rrrgggbbb");
    EXPECT_EQ(lettersOf(scaledTo(bitmapOf({"rrrgggbbb"}), 3, 1, NSImageInterpolationNone)), "rgb");
    EXPECT_EQ(lettersOf(scaledTo(bitmapOf({"rg"}), 3, 1, NSImageInterpolationNone)), "rgg");
}

TEST(ImageScaling, ExtremeScalesHaveWeights) {
    NSBitmapImageRep strip(8192, 1);
    std::fill(strip.pixels().begin(), strip.pixels().end(), red);
    for (const NSImageInterpolation interpolation :
         {NSImageInterpolationNone, NSImageInterpolationLow, NSImageInterpolationHigh}) {
        EXPECT_EQ(lettersOf(scaledTo(strip, 1, 1, interpolation)), "r");
        EXPECT_EQ(lettersOf(scaledTo(bitmapOf({"g"}), 6, 1, interpolation)), "gggggg");
        // A source rectangle thinner than a pixel.
        const auto sliver =
            resampledBitmap(strip, NSMakeRect(100.4, 0, 1e-6, 1), NSMakeRect(0, 0, 2, 1), {0, 0, 2, 1}, interpolation);
        EXPECT_EQ(lettersOf(sliver), "rr");
    }
}

} // namespace
} // namespace platform
