#include "AppKit/NSImage.h"

#include "AppKit/CIImage.h"
#include "Foundation/NSException.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TestBitmaps.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace tessaro_test;

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

// Every colour under every alpha that can stand there.
TEST(NSImage, EveryPixelSurvivesTheRoundTripThroughTIFF) {
    NSBitmapImageRep bitmap(256, 256);
    for (std::uint32_t alpha = 0; alpha < 256; ++alpha)
        for (std::uint32_t colour = 0; colour < 256; ++colour)
            bitmap.row(static_cast<int>(alpha))[colour] =
                alpha << 24 | std::min(colour, alpha) << 16 | std::min(255 - colour, alpha) << 8 | alpha / 2;
    const auto again = NSBitmapImageRep::imageRepWithData(*bitmap.TIFFRepresentation());
    ASSERT_TRUE(again);
    EXPECT_TRUE(std::equal(bitmap.pixels().begin(), bitmap.pixels().end(), again->pixels().begin()));
}

TEST(NSImage, SizesInPointsSurviveTheRoundTripThroughTIFF) {
    NSBitmapImageRep bitmap(32, 24);
    bitmap.setSize({16, 12});
    const auto image = NSImage::initWithData(*bitmap.TIFFRepresentation());
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), (NSSize{16, 12}));
}

struct SourceCase {
    const char* what;
    NSRect source;
    NSRect destination;
    const char* expected; // of 4 x 3 pixels
};

TEST(NSImage, DrawsPartsOfItself) {
    const NSImage image = imageOf(bitmapOf({"rg", "bw"}));
    const SourceCase rows[] = {
        {"the zero rectangle is the whole image", {}, {{0, 0}, {2, 2}}, "kkkk/rgkk/bwkk"},
        {"a rectangle of no width is nothing", {{0, 0}, {0, 2}}, {{0, 0}, {2, 2}}, "kkkk/kkkk/kkkk"},
        {"nor is one that is elsewhere and empty", {{1, 1}, {0, 0}}, {{0, 0}, {2, 2}}, "kkkk/kkkk/kkkk"},
        {"lower right quarter", {{1, 0}, {1, 1}}, {{3, 0}, {1, 1}}, "kkkk/kkkk/kkkw"},
        {"upper row", {{0, 1}, {2, 1}}, {{1, 2}, {2, 1}}, "krgk/kkkk/kkkk"},
        {"enlarged", {{0, 1}, {1, 1}}, {{0, 0}, {3, 2}}, "kkkk/rrrk/rrrk"},
        {"no source outside the image", {{1, 1}, {2, 2}}, {{0, 0}, {2, 2}}, "kkkk/kkkk/gkkk"},
        {"wholly outside", {{5, 5}, {2, 2}}, {{0, 0}, {2, 2}}, "kkkk/kkkk/kkkk"},
        {"a negative source", {{1, 1}, {-1, 1}}, {{0, 0}, {2, 2}}, "kkkk/kkkk/kkkk"},
        {"a negative destination", {}, {{2, 2}, {-2, 2}}, "kkkk/kkkk/kkkk"},
        {"destination over the edges", {}, {{-1, -1}, {2, 2}}, "kkkk/kkkk/gkkk"},
        {"destination far away", {}, {{1e300, 0}, {2, 2}}, "kkkk/kkkk/kkkk"},
        {"destination much larger than the canvas", {{0, 1}, {1, 1}}, {{-1e7, -1e7}, {2e9, 2e9}}, "rrrr/rrrr/rrrr"},
        {"no number", {}, {{0, 0}, {std::nan(""), 2}}, "kkkk/kkkk/kkkk"},
    };
    for (const SourceCase& row : rows) {
        const auto canvas = drawn(4, 3, black, [&] {
            image.drawInRect_fromRect_operation_fraction(row.destination, row.source, NSCompositeCopy, 1.0);
        });
        EXPECT_EQ(lettersOf(canvas), row.expected) << row.what;
    }
}

TEST(NSImage, IsStretchedToItsOwnSize) {
    NSImage image = imageOf(bitmapOf({"rg", "bw"}));
    image.setSize({4, 2}); // a point is half a pixel wide now
    const auto canvas = drawn(2, 2, black, [&] {
        image.drawInRect_fromRect_operation_fraction({{0, 0}, {2, 2}}, {{2, 0}, {2, 2}}, NSCompositeCopy, 1.0);
    });
    EXPECT_EQ(lettersOf(canvas), "gg/ww");
}

TEST(NSImage, TakesTheSmallestFormThatIsLargeEnough) {
    NSImage image = imageOf(bitmapOf({"rr", "rr"}));
    image.addRepresentation(std::make_shared<const NSBitmapImageRep>(bitmapOf({"gggg", "gggg", "gggg", "gggg"})));
    image.addRepresentation(std::make_shared<const NSBitmapImageRep>(bitmapOf({"b"})));
    struct Case {
        double side;
        const char* expected;
    };
    const Case rows[] = {{1, "b"}, {2, "rr/rr"}, {3, "ggg/ggg/ggg"}, {5, "ggggg/ggggg/ggggg/ggggg/ggggg"}};
    for (const Case& row : rows) {
        const auto canvas = drawn(row.side, row.side, black, [&] {
            image.drawInRect_fromRect_operation_fraction({{0, 0}, {row.side, row.side}}, NSZeroRect, NSCompositeCopy,
                                                         1.0);
        });
        EXPECT_EQ(lettersOf(canvas), row.expected) << row.side;
    }
}

TEST(NSImage, FocusNestsAndKeepsWhatWasDrawn) {
    NSImage outer = imageOf(bitmapOf({"rr"}));
    NSImage inner = NSImage::initWithSize({1, 1});
    outer.lockFocus();
    NSGraphicsContext::currentContext()->setImageInterpolation(NSImageInterpolationHigh);
    inner.lockFocus();
    EXPECT_EQ(NSGraphicsContext::currentContext()->imageInterpolation(), NSImageInterpolationDefault);
    imageOf(bitmapOf({"g"})).drawInRect_fromRect_operation_fraction({{0, 0}, {1, 1}}, {}, NSCompositeCopy, 1.0);
    inner.unlockFocus();
    EXPECT_EQ(NSGraphicsContext::currentContext()->imageInterpolation(), NSImageInterpolationHigh);
    const NSImage copy = outer;
    inner.drawInRect_fromRect_operation_fraction({{1, 0}, {1, 1}}, {}, NSCompositeCopy, 1.0);
    outer.unlockFocus();
    EXPECT_EQ(lettersOf(onlyBitmap(outer)), "rg");
    EXPECT_EQ(lettersOf(onlyBitmap(copy)), "rr");
    outer.unlockFocus(); // once too often
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

TEST(NSImage, FractionalSizesAreRoundedUpToPixels) {
    NSImage image = NSImage::initWithSize({2.5, 1.25});
    image.lockFocus();
    imageOf(bitmapOf({"r"})).drawInRect_fromRect_operation_fraction({{0, 0}, {2.5, 1.25}}, {}, NSCompositeCopy, 1.0);
    image.unlockFocus();
    EXPECT_EQ(lettersOf(onlyBitmap(image)), "rrr/rrr");
    EXPECT_EQ(onlyBitmap(image).size(), (NSSize{2.5, 1.25}));
    EXPECT_EQ(image.size(), (NSSize{2.5, 1.25}));
}

TEST(NSImage, RefusesFocusForImpossibleSizes) {
    for (const NSSize size : {NSSize{0, 5}, NSSize{5, 0}, NSSize{-1, 5}, NSSize{32768, 1}, NSSize{std::nan(""), 1}}) {
        NSImage image = NSImage::initWithSize(size);
        EXPECT_THROW(image.lockFocus(), NSException) << size.width;
        EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
    }
}

TEST(NSImage, DrawingNeedsTheFocus) {
    EXPECT_THROW(
        imageOf(bitmapOf({"r"})).drawInRect_fromRect_operation_fraction({{0, 0}, {1, 1}}, {}, NSCompositeCopy, 1.0),
        NSException);
}

TEST(NSImage, ReadsBackFromForeignPixels) {
    // Rows of four pixels, of which three are the picture's.
    NSBitmapImageRep pixels = bitmapOf({"rgbw", "gggw", "b.rw"});
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(
        NSGraphicsContext::graphicsContextWithPremultipliedARGB32(pixels.pixels().data(), 3, 3, 16));
    struct Case {
        NSRect rect;
        const char* expected;
    };
    const Case rows[] = {{{{0, 0}, {2, 2}}, "gg/b."},
                         {{{2, -1}, {2, 2}}, "r./.."},
                         {{{0, 2}, {3, 1}}, "rgb"},
                         {{{0.5, 0.5}, {1, 1}}, "gg/b."}, // every pixel that is touched
                         {{{10, 10}, {1, 1}}, "."}};
    for (const Case& row : rows)
        EXPECT_EQ(lettersOf(NSBitmapImageRep::initWithFocusedViewRect(row.rect)), row.expected);
    for (const NSRect& rect : {NSMakeRect(0, 0, -3, 2), NSMakeRect(0, 0, 0, 2), NSMakeRect(0, 0, 40000, 2),
                               NSMakeRect(0, 0, std::nan(""), 2)})
        EXPECT_THROW(static_cast<void>(NSBitmapImageRep::initWithFocusedViewRect(rect)), NSException);
    NSGraphicsContext::restoreGraphicsState();
    EXPECT_THROW(static_cast<void>(NSBitmapImageRep::initWithFocusedViewRect(NSMakeRect(0, 0, 1, 1))), NSException);
}

TEST(NSImage, ForeignPixelsMustFit) {
    std::array<Pixel, 16> pixels{};
    const auto make = [&](void* at, int wide, int high, int stride) {
        return NSGraphicsContext::graphicsContextWithPremultipliedARGB32(at, wide, high, stride);
    };
    EXPECT_NE(make(pixels.data(), 4, 4, 16), nullptr);
    EXPECT_THROW(static_cast<void>(make(nullptr, 4, 4, 16)), NSException);
    EXPECT_THROW(static_cast<void>(make(pixels.data(), 0, 4, 16)), NSException);
    EXPECT_THROW(static_cast<void>(make(pixels.data(), 4, -1, 16)), NSException);
    EXPECT_THROW(static_cast<void>(make(pixels.data(), 4, 4, 12)), NSException);
    EXPECT_THROW(static_cast<void>(make(pixels.data(), 4, 2, 18)), NSException);
}

// The way of the thumbnail: captured from a focus, through TIFF, scaled.
TEST(NSImage, MakesAThumbnailOfACapture) {
    auto page = std::make_shared<NSBitmapImageRep>(955, 730);
    for (int y = 0; y < 730; ++y)
        for (int x = 0; x < 955; ++x)
            page->row(y)[static_cast<std::size_t>(x)] = y >= 680 || x >= 905 ? blue : x < 452 ? red : green;
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(
        NSGraphicsContext::graphicsContextWithPremultipliedARGB32(page->pixels().data(), 955, 730, 955 * 4, page));
    const auto bitmap = NSBitmapImageRep::initWithFocusedViewRect(NSMakeRect(0, 50, 905, 680));
    NSGraphicsContext::restoreGraphicsState();
    const auto captured = NSImage::initWithData(*bitmap.TIFFRepresentation());
    ASSERT_TRUE(captured);
    NSImage thumb = NSImage::initWithSize({301, 226});
    thumb.lockFocus();
    NSGraphicsContext::currentContext()->setImageInterpolation(NSImageInterpolationHigh);
    captured->drawInRect_fromRect_operation_fraction(NSMakeRect(0, 0, 301, 226), NSZeroRect, NSCompositeCopy, 1.0);
    thumb.unlockFocus();
    const auto& pixels = onlyBitmap(thumb);
    for (int y = 0; y < 226; ++y)
        for (int x = 0; x < 301; ++x) {
            if (x < 147 || x > 153) { // the filter reaches three pixels to both sides of the edge
                ASSERT_EQ(pixels.pixelAt(x, y), x < 150 ? red : green) << x << ", " << y;
            } else {
                ASSERT_EQ(pixels.pixelAt(x, y) & 0xFF0000FF, 0xFF000000) << x << ", " << y;
            }
        }
}

using testing_support::TemporaryFolder;

void put(const TemporaryFolder& folder, const std::string& name, DataView bytes) {
    testing_support::write(folder / name, bytesAsCharacters(bytes));
}

Data pngOf(std::initializer_list<std::string_view> rows) {
    return *bitmapOf(rows).representationUsingType_properties(NSPNGFileType, std::nullopt);
}

TEST(NSImage, ReadsAReferencedFileWhenItIsAskedFor) {
    const TemporaryFolder folder;
    const NSImage image = NSImage::initByReferencingFile(stringWithUTF8OrLatin1(folder.path().string() + "/later.png"));
    put(folder, "later.png", pngOf({"rg"}));
    EXPECT_TRUE(image.isValid());
    EXPECT_EQ(image.size(), (NSSize{2, 1}));
    EXPECT_EQ(lettersOf(onlyBitmap(image)), "rg");
    for (const StringView path : {StringView(u"/nowhere/x.icns"), StringView(u""), StringView(u"/tmp"),
                                  StringView(u"/tmp/\0x", 7), StringView(u"\xD800")}) {
        const NSImage missing = NSImage::initByReferencingFile(path);
        EXPECT_FALSE(missing.isValid());
        EXPECT_FALSE(missing.TIFFRepresentation());
        EXPECT_EQ(missing.size(), (NSSize{0, 0}));
        const auto canvas = drawn(1, 1, black, [&] {
            missing.drawInRect_fromRect_operation_fraction({{0, 0}, {1, 1}}, {}, NSCompositeCopy, 1.0);
        });
        EXPECT_EQ(lettersOf(canvas), "k");
    }
}

TEST(NSImage, FindsNamedImagesInTheTheme) {
    const TemporaryFolder folder;
    const auto index = [](std::string_view text) { return charactersAsBytes(text); };
    put(folder, "Mine/index.theme", index("[Icon Theme]\nName=Mine\nInherits=Parent,Mine\nDirectories=16/a,32/a\n"));
    put(folder, "Parent/index.theme", index("[Icon Theme]\nName=Parent\nDirectories=16/a\n"));
    put(folder, "hicolor/index.theme", index("[Icon Theme]\nName=Hicolor\nDirectories=16/a\n"));
    put(folder, "Mine/16/a/both.png", pngOf({"r"}));
    put(folder, "Mine/32/a/both.png", pngOf({"gg", "gg"}));
    put(folder, "Parent/16/a/both.png", pngOf({"b"}));
    put(folder, "Parent/16/a/inherited.png", pngOf({"b"}));
    put(folder, "hicolor/16/a/inherited.png", pngOf({"w"}));
    put(folder, "hicolor/16/a/last.png", pngOf({"w"}));
    put(folder, "Mine/16/a/damaged.png", index("no picture"));
    put(folder, "Mine/elsewhere.png", pngOf({"r"}));
    NSImage::setIconTheme({u"Mine", {stringWithUTF8OrLatin1(folder.path().string())}});
    const auto both = NSImage::imageNamed(u"both");
    ASSERT_TRUE(both);
    EXPECT_EQ(both->representations().size(), 2u);
    EXPECT_EQ(both->size(), (NSSize{2, 2}));
    struct Case {
        const char16_t* name;
        const char* expected; // null: absent
    };
    const Case rows[] = {{u"both", "gg/gg"},      {u"inherited", "b"},    {u"last", "w"},   {u"none", nullptr},
                         {u"damaged", nullptr},   {u"", nullptr},         {u"..", nullptr}, {u"../elsewhere", nullptr},
                         {u"16/a/both", nullptr}, {u"elsewhere", nullptr}};
    for (const Case& row : rows) {
        const auto image = NSImage::imageNamed(row.name);
        ASSERT_EQ(image.has_value(), row.expected != nullptr) << lossyUTF8String(row.name);
        if (image) {
            EXPECT_EQ(lettersOf(onlyBitmap(*image)), row.expected) << lossyUTF8String(row.name);
        }
    }
    NSImage::setIconTheme({u"Mine", {u"/nowhere"}});
    EXPECT_FALSE(NSImage::imageNamed(u"both"));
}

TEST(NSImage, TheDesktopsThemeIsRead) {
    const TemporaryFolder folder;
    put(folder, "gtk-3.0/settings.ini", charactersAsBytes("[Settings]\ngtk-icon-theme-name=Chosen\n"));
    const testing_support::EnvironmentVariable settings("XDG_CONFIG_HOME", folder.path().c_str());
    const testing_support::EnvironmentVariable home("HOME", "/home/x");
    const testing_support::EnvironmentVariable own("XDG_DATA_HOME", nullptr);
    const testing_support::EnvironmentVariable shared("XDG_DATA_DIRS", "/a:/b");
    const IconTheme theme = IconTheme::ofDesktop();
    EXPECT_EQ(theme.name, u"Chosen");
    EXPECT_EQ(theme.folders,
              (std::vector<String>{u"/home/x/.icons", u"/home/x/.local/share/icons", u"/a/icons", u"/b/icons"}));
    const testing_support::EnvironmentVariable nothing("XDG_CONFIG_HOME", "/nowhere");
    EXPECT_EQ(IconTheme::ofDesktop().name, u"Adwaita");
}

TEST(CIImage, IsRenderedOnlyWhenDrawn) {
    int renderings = 0;
    const CIImage picture({{7, -3}, {2, 1}}, [&] {
        ++renderings;
        return std::make_shared<const NSBitmapImageRep>(bitmapOf({"rg"}));
    });
    NSImage image = NSImage::initWithSize(picture.extent().size);
    image.addRepresentation(NSCIImageRep::imageRepWithCIImage(picture));
    EXPECT_TRUE(image.isValid());
    EXPECT_EQ(image.representations()[0]->size(), (NSSize{2, 1}));
    const NSImage copy = image;
    EXPECT_EQ(renderings, 0);
    const auto canvas = drawn(2, 1, black, [&] {
        copy.drawInRect_fromRect_operation_fraction({{0, 0}, {2, 1}}, {}, NSCompositeCopy, 1.0);
    });
    EXPECT_EQ(lettersOf(canvas), "rg");
    EXPECT_EQ(renderings, 1);
}

TEST(CIImage, ThatCannotRenderDrawsNothing) {
    NSImage image = NSImage::initWithSize({1, 1});
    image.addRepresentation(NSCIImageRep::imageRepWithCIImage(CIImage({{0, 0}, {1, 1}}, {})));
    EXPECT_FALSE(image.TIFFRepresentation());
    const auto canvas = drawn(1, 1, black, [&] {
        image.drawInRect_fromRect_operation_fraction({{0, 0}, {1, 1}}, {}, NSCompositeCopy, 1.0);
    });
    EXPECT_EQ(lettersOf(canvas), "k");
}

} // namespace
} // namespace platform
