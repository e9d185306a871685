// The answer of a decoder that an image may have taken over: what is believed of it lies within the bounds, holds
// every colour down to its alpha, and is read alike when it is written again.
#include "AppKit/ConfinedDecoder/DecodedImage.h"
#include "AppKit/ImageDecoding.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

using namespace platform;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

void requireSane(const NSBitmapImageRep& bitmap) {
    require(bitmap.pixelsWide() > 0 && bitmap.pixelsWide() <= maximumImageSide);
    require(bitmap.pixelsHigh() > 0 && bitmap.pixelsHigh() <= maximumImageSide);
    require(std::isfinite(bitmap.size().width) && bitmap.size().width > 0);
    require(std::isfinite(bitmap.size().height) && bitmap.size().height > 0);
    for (const auto pixel : bitmap.pixels())
        require((pixel >> 16 & 0xFF) <= pixel >> 24 && (pixel >> 8 & 0xFF) <= pixel >> 24 &&
                (pixel & 0xFF) <= pixel >> 24);
}

bool isSame(const NSBitmapImageRep& one, const NSBitmapImageRep& other) {
    return one.pixelsWide() == other.pixelsWide() && one.pixelsHigh() == other.pixelsHigh() &&
           one.size() == other.size() && std::ranges::equal(one.pixels(), other.pixels());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto representations = readDecodedImage({data, size});
    require(representations.size() <= maximumRepresentations);
    long pixels = 0;
    for (const auto& bitmap : representations) {
        requireSane(bitmap);
        pixels += static_cast<long>(bitmap.pixels().size());
    }
    require(pixels <= maximumImagePixels);
    if (representations.empty())
        return 0;
    const Data again = writtenDecodedImage(representations);
    require(again.size() == size);
    require(std::ranges::equal(readDecodedImage(again), representations, isSame));
    return 0;
}
