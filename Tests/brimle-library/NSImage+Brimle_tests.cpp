#include "brimle/NSImage+Brimle.h"

#include "AppKit/ImageDecoding.h"
#include "Foundation/NSException.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TestBitmaps.h"

#include <cmath>
#include <gtest/gtest.h>

namespace brimle {
namespace {

using namespace platform;
using namespace tessaro_test;
using testing_support::TemporaryFolder;

struct CentreCase {
    NSSize size;
    NSRect outer;
    NSRect expected;
};

TEST(BRCenterRectInRect, CentresWithoutRounding) {
    const CentreCase rows[] = {{{100, 50}, {{10, 20}, {300, 150}}, {{110, 70}, {100, 50}}},
                               {{3, 3}, {{0, 0}, {4, 4}}, {{0.5, 0.5}, {3, 3}}},
                               {{1, 2}, {{0, 0}, {2, 5}}, {{0.5, 1.5}, {1, 2}}},
                               {{20, 10}, {{0, 0}, {10, 10}}, {{-5, 0}, {20, 10}}}, // sticks out on both sides
                               {{10, 30}, {{1, 1}, {10, 10}}, {{1, -9}, {10, 30}}},
                               {{0, 0}, {{0, 0}, {1, 1}}, {{0.5, 0.5}, {0, 0}}}};
    for (const CentreCase& row : rows)
        EXPECT_EQ(BRCenterRectInRect(row.size, row.outer), row.expected) << row.size.width << " x " << row.size.height;
}

// Quarters red, green / blue, white in the given size: where each ends shows where the image was drawn.
NSImage quarters(int wide, int high) {
    NSBitmapImageRep bitmap(wide, high);
    for (int y = 0; y < high; ++y)
        for (int x = 0; x < wide; ++x)
            bitmap.row(y)[static_cast<std::size_t>(x)] =
                y < high / 2 ? (x < wide / 2 ? red : green) : (x < wide / 2 ? blue : white);
    return imageOf(bitmap);
}

struct Bounds {
    int left = 0, bottom = 0, width = 0, height = 0; // y upwards
    friend bool operator==(const Bounds&, const Bounds&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Bounds& b) {
        return out << b.left << ", " << b.bottom << ", " << b.width << " x " << b.height;
    }
};

// The smallest rectangle around what is not of the background.
Bounds boundsOf(const NSBitmapImageRep& bitmap, Pixel background) {
    int left = bitmap.pixelsWide();
    int right = 0;
    int top = bitmap.pixelsHigh();
    int bottom = 0;
    for (int y = 0; y < bitmap.pixelsHigh(); ++y)
        for (int x = 0; x < bitmap.pixelsWide(); ++x)
            if (bitmap.pixelAt(x, y) != background) {
                left = std::min(left, x);
                right = std::max(right, x + 1);
                top = std::min(top, y);
                bottom = std::max(bottom, y + 1);
            }
    return {left, bitmap.pixelsHigh() - bottom, right - left, bottom - top};
}

struct ProportionCase {
    int wide, high; // of the image
    NSRect rect;
    Bounds expected;
};

TEST(DrawProportionally, TheImagesShapePicksTheSide) {
    const ProportionCase rows[] = {
        {200, 100, {{100, 150}, {400, 100}}, {100, 100, 400, 200}}, // higher than the rectangle, above and below
        {200, 100, {{10, 10}, {100, 100}}, {10, 35, 100, 50}},
        {50, 50, {{0, 100}, {200, 100}}, {0, 50, 200, 200}}, // a square takes the width
        {50, 50, {{20, 0}, {100, 200}}, {20, 50, 100, 100}},
        {50, 100, {{200, 0}, {40, 200}}, {170, 0, 100, 200}}, // wider than the rectangle
        {50, 100, {{0, 0}, {400, 100}}, {175, 0, 50, 100}},
    };
    for (const ProportionCase& row : rows) {
        const NSImage image = quarters(row.wide, row.high);
        const auto canvas = drawn(600, 400, black, [&] {
            br_drawProportionallyInRect_operation_fraction(image, row.rect, NSCompositeCopy, 1.0);
        });
        EXPECT_EQ(boundsOf(canvas, black), row.expected) << row.wide << " x " << row.high;
        const Bounds& b = row.expected;
        EXPECT_EQ(canvas.pixelAt(b.left, 400 - b.bottom - 1), blue); // lower left
        EXPECT_EQ(canvas.pixelAt(b.left + b.width - 1, 400 - b.bottom - b.height), green);
        EXPECT_EQ(image.size(), (NSSize{static_cast<double>(row.wide), static_cast<double>(row.high)}));
    }
}

TEST(DrawProportionally, OperationAndFractionArePassedOn) {
    const auto canvas = drawn(2, 2, white, [&] {
        br_drawProportionallyInRect_operation_fraction(imageOf(bitmapOf({"k"})), {{0, 0}, {2, 2}},
                                                       NSCompositeSourceOver, 0.5);
    });
    for (const Pixel pixel : canvas.pixels())
        EXPECT_NEAR(pixel & 0xFF, 127.5, 1);
}

TEST(DrawProportionally, ImagesWithoutASizeDrawNothing) {
    for (const NSSize size : {NSSize{0, 0}, NSSize{0, 5}, NSSize{5, 0}}) {
        NSImage image = imageOf(bitmapOf({"r"}));
        image.setSize(size);
        const auto canvas = drawn(2, 2, black, [&] {
            br_drawProportionallyInRect_operation_fraction(image, {{0, 0}, {2, 2}}, NSCompositeCopy, 1.0);
        });
        EXPECT_EQ(lettersOf(canvas), "kk/kk");
    }
}

struct ScaleCase {
    int wide, high;
    NSSize target;
    NSSize drawn; // the receiver's size afterwards
    Bounds expected;
};

TEST(ScalingProportionally, FitsTheWholeImage) {
    const ScaleCase rows[] = {
        {400, 200, {100, 100}, {100, 50}, {0, 25, 100, 50}},
        {50, 100, {200, 200}, {100, 200}, {50, 0, 100, 200}}, // enlarged
        {100, 100, {100, 100}, {100, 100}, {0, 0, 100, 100}},
        {50, 50, {200, 200}, {200, 200}, {0, 0, 200, 200}},
        {100, 50, {50, 25}, {50, 25}, {0, 0, 50, 25}},
    };
    for (const ScaleCase& row : rows) {
        NSImage image = quarters(row.wide, row.high);
        const auto scaled = br_imageByScalingProportionallyToSize(image, row.target);
        ASSERT_TRUE(scaled);
        EXPECT_EQ(scaled->size(), row.target);
        EXPECT_EQ(image.size(), row.drawn);
        EXPECT_EQ(boundsOf(onlyBitmap(*scaled), clear), row.expected) << row.wide << " x " << row.high;
        EXPECT_NE(scaled->representations()[0], image.representations()[0]);
    }
}

TEST(ScalingProportionally, NothingIsRounded) {
    NSImage image = quarters(3, 7);
    const auto scaled = br_imageByScalingProportionallyToSize(image, {100, 100});
    ASSERT_TRUE(scaled);
    EXPECT_EQ(image.size(), (NSSize{3 * (100.0 / 7), 7 * (100.0 / 7)}));
    // 42.857 points wide, 28.571 from the left: the pixels at the edges are covered in part.
    const auto& bitmap = onlyBitmap(*scaled);
    EXPECT_EQ(bitmap.pixelAt(27, 50) >> 24, 0u);
    EXPECT_NEAR(bitmap.pixelAt(28, 50) >> 24, 255 * 0.4286, 3);
    EXPECT_EQ(bitmap.pixelAt(29, 50) >> 24, 255u);
    EXPECT_NEAR(bitmap.pixelAt(71, 50) >> 24, 255 * 0.4286, 3);
    EXPECT_EQ(bitmap.pixelAt(72, 50) >> 24, 0u);
}

TEST(ScalingProportionally, TransparencyIsCopiedNotBlended) {
    NSImage image = imageOf(bitmapOf({"hh", ".h"}));
    const auto scaled = br_imageByScalingProportionallyToSize(image, {2, 2});
    ASSERT_TRUE(scaled);
    EXPECT_EQ(lettersOf(onlyBitmap(*scaled)), "hh/.h");
}

TEST(ScalingProportionally, ResultIsIndependentOfTheReceiver) {
    std::optional<NSImage> scaled;
    {
        NSImage image = quarters(4, 4);
        scaled = br_imageByScalingProportionallyToSize(image, {4, 4});
    }
    ASSERT_TRUE(scaled);
    EXPECT_EQ(lettersOf(onlyBitmap(*scaled)), "rrgg/rrgg/bbww/bbww");
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

TEST(ScalingProportionally, InvalidImagesGiveNothing) {
    NSImage image = NSImage::initWithSize({10, 10});
    EXPECT_FALSE(br_imageByScalingProportionallyToSize(image, {5, 5}));
    EXPECT_EQ(image.size(), (NSSize{10, 10}));
    NSImage missing = NSImage::initByReferencingFile(u"/nowhere/at/all.png");
    EXPECT_FALSE(br_imageByScalingProportionallyToSize(missing, {5, 5}));
}

TEST(ScalingProportionally, ATargetWithoutAnAreaRaises) {
    NSImage image = quarters(4, 4);
    EXPECT_THROW(static_cast<void>(br_imageByScalingProportionallyToSize(image, {0, 5})), NSException);
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
    EXPECT_EQ(image.size(), (NSSize{4, 4}));
}

TEST(Conversions, ACGImageIsDrawnIntoANewImage) {
    const CGImage picture(bitmapOf({"rg", "b.", "hw"}));
    const NSImage image = br_imageWithCGImage(picture);
    EXPECT_EQ(image.size(), (NSSize{2, 3}));
    EXPECT_EQ(lettersOf(onlyBitmap(image)), "rg/b./hw");
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

TEST(Conversions, ACGImageOfAnyResolutionHasOnePointAPixel) {
    NSBitmapImageRep dense = bitmapOf({"rg", "bw"});
    dense.setSize({1, 1});
    EXPECT_EQ(br_imageWithCGImage(CGImage(dense)).size(), (NSSize{2, 2}));
}

TEST(Conversions, ACIImageBacksANewImageAndIsNotRendered) {
    int renderings = 0;
    const CIImage picture({{30, -40}, {2.5, 1}}, [&] {
        ++renderings;
        return std::make_shared<const NSBitmapImageRep>(bitmapOf({"rg"}));
    });
    const NSImage image = br_imageFromCIImage(picture);
    EXPECT_EQ(image.size(), (NSSize{2.5, 1})); // the origin does not count
    EXPECT_EQ(image.representations().size(), 1u);
    EXPECT_NE(dynamic_cast<const NSCIImageRep*>(image.representations()[0].get()), nullptr);
    EXPECT_EQ(renderings, 0);
    EXPECT_TRUE(image.TIFFRepresentation());
    EXPECT_EQ(renderings, 1);
}

TEST(Conversions, GoThroughTheFirstTIFFPage) {
    NSImage image = imageOf(bitmapOf({"rg", "b."}));
    image.addRepresentation(std::make_shared<const NSBitmapImageRep>(bitmapOf({"w"})));
    const OwnedCGImage owned = br_toCGImage(image);
    ASSERT_NE(owned, nullptr);
    EXPECT_EQ(CGImageGetWidth(*owned), 2u);
    EXPECT_EQ(CGImageGetHeight(*owned), 2u);
    EXPECT_EQ(lettersOf(owned->pixels()), "rg/b.");
    const auto recipe = br_toCIImage(image);
    ASSERT_TRUE(recipe);
    EXPECT_EQ(recipe->extent(), (NSRect{{0, 0}, {2, 2}}));
    EXPECT_EQ(lettersOf(*recipe->render()), "rg/b.");
    const auto png = br_dataRepresentationOfType(image, NSPNGFileType);
    ASSERT_TRUE(png);
    EXPECT_EQ(lettersOf(decodeImage(*png).at(0)), "rg/b.");
}

TEST(Conversions, EveryFileTypeIsWritten) {
    const std::string_view signatures[] = {"II*", "BM", "GIF89a", "\xFF\xD8\xFF", "\x89PNG", {"\0\0\0\x0CjP  ", 8}};
    const NSImage image = quarters(8, 8);
    for (unsigned type = 0; type < std::size(signatures); ++type) {
        const auto data = br_dataRepresentationOfType(image, static_cast<NSBitmapImageFileType>(type));
        ASSERT_TRUE(data) << type;
        EXPECT_EQ(bytesAsCharacters(*data).substr(0, signatures[type].size()), signatures[type]) << type;
    }
}

TEST(Conversions, ImagesWithoutPixelsGiveNothing) {
    for (const NSImage& image : {NSImage::initWithSize({3, 3}), NSImage::initByReferencingFile(u"/nowhere"),
                                 br_imageFromCIImage(CIImage({{0, 0}, {1, 1}}, {}))}) {
        EXPECT_EQ(br_toCGImage(image), nullptr);
        EXPECT_FALSE(br_toCIImage(image));
        EXPECT_FALSE(br_dataRepresentationOfType(image, NSPNGFileType));
    }
}

std::string pngOf(std::initializer_list<std::string_view> rows) {
    return std::string(
        bytesAsCharacters(*bitmapOf(rows).representationUsingType_properties(NSPNGFileType, std::nullopt)));
}

TEST(CoreTypesImage, TriesTheThemeFirstAndThenTheFolder) {
    const TemporaryFolder folder;
    testing_support::write(folder / "icons/hicolor/index.theme", "[Icon Theme]\nName=H\nDirectories=16\n");
    testing_support::write(folder / "icons/hicolor/16/Both.png", pngOf({"r"}));
    testing_support::write(folder / "icons/hicolor/16/Themed.icns.png", pngOf({"r"}));
    const String root = stringWithUTF8OrLatin1(folder.path().string());
    setCoreTypesRoot(root);
    EXPECT_EQ(coreTypesResourcesFolder(), root + u"/System/Library/CoreServices/CoreTypes.bundle/Contents/Resources");
    const std::string resources = "System/Library/CoreServices/CoreTypes.bundle/Contents/Resources/";
    testing_support::write(folder / (resources + "Both.icns"), pngOf({"g"}));
    testing_support::write(folder / (resources + "Filed.icns"),
                           testing_support::contentsOf(TEST_DATA_FOLDER "/images/masked.icns"));
    testing_support::write(folder / (resources + "Filed"), pngOf({"b"})); // not this one
    testing_support::write(folder / (resources + "Themed.icns"), pngOf({"g"}));
    NSImage::setIconTheme({u"hicolor", {root + u"/icons"}});

    EXPECT_EQ(lettersOf(onlyBitmap(coreTypesImage(u"Both.icns"))), "r");
    const NSImage filed = coreTypesImage(u"Filed.icns");
    EXPECT_EQ(filed.size(), (NSSize{128, 128}));
    EXPECT_EQ(filed.representations().size(), 4u);
    EXPECT_EQ(lettersOf(onlyBitmap(coreTypesImage(u"Themed.icns"))), "g"); // looked up without its extension

    const NSImage missing = coreTypesImage(u"Missing.icns");
    EXPECT_FALSE(missing.isValid());
    const auto canvas = drawn(1, 1, black, [&] {
        missing.drawInRect_fromRect_operation_fraction({{0, 0}, {1, 1}}, NSZeroRect, NSCompositeCopy, 1.0);
    });
    EXPECT_EQ(lettersOf(canvas), "k");
    setCoreTypesRoot(u"");
    EXPECT_EQ(coreTypesResourcesFolder(), u"/System/Library/CoreServices/CoreTypes.bundle/Contents/Resources");
}

TEST(CoreTypesImage, ReadsTheFileOnlyWhenItIsDrawn) {
    const TemporaryFolder folder;
    NSImage::setIconTheme({u"hicolor", {}});
    setCoreTypesRoot(stringWithUTF8OrLatin1(folder.path().string()));
    const NSImage image = coreTypesImage(u"Later.icns");
    testing_support::write(lossyUTF8String(coreTypesResourcesFolder()) + "/Later.icns", pngOf({"b"}));
    const auto canvas = drawn(1, 1, black, [&] {
        image.drawInRect_fromRect_operation_fraction({{0, 0}, {1, 1}}, NSZeroRect, NSCompositeCopy, 1.0);
    });
    EXPECT_EQ(lettersOf(canvas), "b");
    setCoreTypesRoot(u"");
}

} // namespace
} // namespace brimle
