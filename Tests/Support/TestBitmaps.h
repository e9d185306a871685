// Small pictures written as letters, for tests that compare every pixel.
#pragma once

#include "AppKit/NSImage.h"

#include <initializer_list>
#include <string>

namespace tessaro_test {

using Pixel = platform::NSBitmapImageRep::Pixel;

constexpr Pixel red = 0xFFFF0000;
constexpr Pixel green = 0xFF00FF00;
constexpr Pixel blue = 0xFF0000FF;
constexpr Pixel white = 0xFFFFFFFF;
constexpr Pixel black = 0xFF000000;
constexpr Pixel halfRed = 0x80800000;
constexpr Pixel clear = 0;

struct Letter {
    char letter;
    Pixel pixel;
};
constexpr Letter letters[] = {{'r', red},   {'g', green},   {'b', blue}, {'w', white},
                              {'k', black}, {'h', halfRed}, {'.', clear}};

// One text a row, from the top.
inline platform::NSBitmapImageRep bitmapOf(std::initializer_list<std::string_view> rows) {
    platform::NSBitmapImageRep bitmap(static_cast<int>(rows.begin()->size()), static_cast<int>(rows.size()));
    int y = 0;
    for (const auto row : rows) {
        for (std::size_t x = 0; x < row.size(); ++x)
            for (const Letter& letter : letters)
                if (letter.letter == row[x])
                    bitmap.row(y)[x] = letter.pixel;
        ++y;
    }
    return bitmap;
}

// The rows from the top with "/" between them; "?" for a colour that has no letter.
inline std::string lettersOf(const platform::NSBitmapImageRep& bitmap) {
    std::string text;
    for (int y = 0; y < bitmap.pixelsHigh(); ++y) {
        if (y > 0)
            text += '/';
        for (const Pixel pixel : bitmap.row(y)) {
            char found = '?';
            for (const Letter& letter : letters)
                if (letter.pixel == pixel)
                    found = letter.letter;
            text += found;
        }
    }
    return text;
}

inline platform::NSImage imageOf(const platform::NSBitmapImageRep& bitmap) {
    platform::NSImage image = platform::NSImage::initWithSize(bitmap.size());
    image.addRepresentation(std::make_shared<const platform::NSBitmapImageRep>(bitmap));
    return image;
}

// What an image that was drawn into holds.
inline const platform::NSBitmapImageRep& onlyBitmap(const platform::NSImage& image) {
    return dynamic_cast<const platform::NSBitmapImageRep&>(*image.representations().at(0));
}

// A canvas of so many points, filled, with the drawing done by `draw` while it has the focus. The nearest pixel is
// taken unless the drawing sets another interpolation: colours stay colours.
template <class Function>
platform::NSBitmapImageRep drawn(double wide, double high, Pixel background, Function draw) {
    const auto context = platform::NSGraphicsContext::graphicsContextWithPixelSize(
        static_cast<int>(wide), static_cast<int>(high), {wide, high});
    platform::NSGraphicsContext::saveGraphicsState();
    platform::NSGraphicsContext::setCurrentContext(context);
    context->setImageInterpolation(platform::NSImageInterpolationNone);
    platform::NSBitmapImageRep fill(1, 1);
    fill.pixels()[0] = background;
    imageOf(fill).drawInRect_fromRect_operation_fraction({{0, 0}, {wide, high}}, platform::NSZeroRect,
                                                         platform::NSCompositeCopy, 1.0);
    draw();
    platform::NSGraphicsContext::restoreGraphicsState();
    return context->bitmap();
}

} // namespace tessaro_test
