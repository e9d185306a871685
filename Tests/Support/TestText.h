// Capital letters and digits of 5 x 7 pixels, for pictures of text that need no font.
#pragma once

#include "AppKit/NSBitmapImageRep.h"

#include <array>
#include <string_view>

namespace tessaro_test {

// Seven rows from the top, five bits each, the left pixel the highest bit.
using Glyph = std::array<unsigned char, 7>;

inline Glyph glyphOf(char character) {
    static constexpr std::string_view known = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    static constexpr Glyph glyphs[] = {
        {14, 17, 17, 31, 17, 17, 17}, {30, 17, 17, 30, 17, 17, 30}, {14, 17, 16, 16, 16, 17, 14},
        {30, 17, 17, 17, 17, 17, 30}, {31, 16, 16, 30, 16, 16, 31}, {31, 16, 16, 30, 16, 16, 16},
        {14, 17, 16, 23, 17, 17, 14}, {17, 17, 17, 31, 17, 17, 17}, {14, 4, 4, 4, 4, 4, 14},
        {7, 2, 2, 2, 2, 18, 12},      {17, 18, 20, 24, 20, 18, 17}, {16, 16, 16, 16, 16, 16, 31},
        {17, 27, 21, 21, 17, 17, 17}, {17, 25, 21, 19, 17, 17, 17}, {14, 17, 17, 17, 17, 17, 14},
        {30, 17, 17, 30, 16, 16, 16}, {14, 17, 17, 17, 21, 18, 13}, {30, 17, 17, 30, 20, 18, 17},
        {15, 16, 16, 14, 1, 1, 30},   {31, 4, 4, 4, 4, 4, 4},       {17, 17, 17, 17, 17, 17, 14},
        {17, 17, 17, 17, 17, 10, 4},  {17, 17, 17, 21, 21, 27, 17}, {17, 17, 10, 4, 10, 17, 17},
        {17, 17, 10, 4, 4, 4, 4},     {31, 1, 2, 4, 8, 16, 31},     {14, 17, 19, 21, 25, 17, 14},
        {4, 12, 4, 4, 4, 4, 14},      {14, 17, 1, 6, 8, 16, 31},    {31, 1, 2, 6, 1, 17, 14},
        {2, 6, 10, 18, 31, 2, 2},     {31, 16, 30, 1, 1, 17, 14},   {6, 8, 16, 30, 17, 17, 14},
        {31, 1, 2, 4, 8, 8, 8},       {14, 17, 17, 14, 17, 17, 14}, {14, 17, 17, 15, 1, 2, 12}};
    const std::size_t at = known.find(character);
    return at == std::string_view::npos ? Glyph{} : glyphs[at];
}

// The line's upper left corner at x, y (from the top); what does not fit is left out.
inline void putText(platform::NSBitmapImageRep& bitmap, int x, int y, std::string_view text,
                    platform::NSBitmapImageRep::Pixel colour) {
    for (const char character : text) {
        const Glyph glyph = glyphOf(character);
        for (int row = 0; row < 7; ++row)
            for (int column = 0; column < 5; ++column)
                if ((glyph[static_cast<std::size_t>(row)] >> (4 - column) & 1) != 0 &&
                    x + column < bitmap.pixelsWide() && y + row < bitmap.pixelsHigh())
                    bitmap.row(y + row).data()[x + column] = colour;
        x += 6;
    }
}

} // namespace tessaro_test
