// Image files of any bytes: every representation within the bounds, every pixel premultiplied.
#include "AppKit/ImageDecoding.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    long pixels = 0;
    for (const auto& bitmap : platform::decodeImage({data, size})) {
        pixels += static_cast<long>(bitmap.pixels().size());
        for (const auto pixel : bitmap.pixels())
            if ((pixel >> 16 & 0xFF) > pixel >> 24 || (pixel >> 8 & 0xFF) > pixel >> 24 || (pixel & 0xFF) > pixel >> 24)
                std::abort();
    }
    if (pixels > platform::maximumImagePixels)
        std::abort();
    return 0;
}
