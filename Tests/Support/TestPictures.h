// Larger pictures that look like what is scaled in practice.
#pragma once

#include "TestText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

namespace tessaro_test {

inline std::uint32_t nextRandom(std::uint32_t& state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

// Waves of all lengths, weaker the shorter they are, with noise: the spectrum of photographs.
inline platform::NSBitmapImageRep photograph(int wide, int high) {
    platform::NSBitmapImageRep bitmap(wide, high);
    std::uint32_t random = 20;
    double phase[3][24];
    double slope[3][24];
    for (std::size_t c = 0; c < 3; ++c)
        for (std::size_t k = 0; k < 24; ++k) {
            phase[c][k] = nextRandom(random) % 6283 / 1000.0;
            slope[c][k] = nextRandom(random) % 6283 / 1000.0;
        }
    for (int y = 0; y < high; ++y)
        for (int x = 0; x < wide; ++x) {
            std::uint32_t pixel = 0xFF;
            for (std::size_t c = 0; c < 3; ++c) {
                double value = 128 + nextRandom(random) % 17 - 8.0;
                double length = 400;
                for (std::size_t k = 0; k < 24; ++k, length *= 0.8)
                    value +=
                        0.12 * length *
                        std::sin((x * std::cos(slope[c][k]) + y * std::sin(slope[c][k])) * 6.28 / length + phase[c][k]);
                pixel = pixel << 8 | static_cast<std::uint32_t>(std::clamp(value, 0.0, 255.0));
            }
            bitmap.row(y)[static_cast<std::size_t>(x)] = pixel;
        }
    return bitmap;
}

// A page of black letters on white.
inline platform::NSBitmapImageRep textPage(int wide, int high) {
    platform::NSBitmapImageRep bitmap(wide, high);
    std::fill(bitmap.pixels().begin(), bitmap.pixels().end(), 0xFFFFFFFF);
    std::uint32_t random = 7;
    for (int y = 4; y < high; y += 11) {
        std::string line;
        for (int i = 0; i < wide / 6; ++i)
            line += nextRandom(random) % 6 == 0 ? ' ' : static_cast<char>('A' + nextRandom(random) % 26);
        putText(bitmap, 3, y, line, 0xFF000000);
    }
    return bitmap;
}

} // namespace tessaro_test
