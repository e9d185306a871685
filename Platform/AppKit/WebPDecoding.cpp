#include "AnimationFrames.h"
#include "Decoders.h"
#include "ImageDecoding.h"

#include <algorithm>
#include <webp/decode.h>

namespace platform {
namespace {

Representations decodeStill(DataView data, long budget) {
    const auto size = declaredSize(data, ImageType::WebP);
    int wide = 0;
    int high = 0;
    // Should the decoder find another size than the header told: no pixels at all.
    if (!size || !isAcceptable(*size, budget) || WebPGetInfo(data.data(), data.size(), &wide, &high) == 0 ||
        static_cast<std::uint32_t>(wide) != size->wide || static_cast<std::uint32_t>(high) != size->high)
        return {};
    const std::size_t step = 4; // red, green, blue, alpha, not premultiplied
    const std::size_t stride = step * size->wide;
    Data samples(stride * size->high);
    if (!WebPDecodeRGBAInto(data.data(), data.size(), samples.data(), samples.size(), static_cast<int>(stride)))
        return {};
    Representations result;
    NSBitmapImageRep& bitmap = result.emplace_back(wide, high);
    const std::uint8_t* sample = samples.data();
    for (int y = 0; y < high; ++y)
        for (auto& pixel : bitmap.row(y)) {
            pixel = premultipliedPixel(sample[0], sample[1], sample[2], sample[3]);
            sample += step;
        }
    return result;
}

// The first picture in its place on the animation's canvas.
Representations decodeFirstFrame(DataView data, long budget) {
    const auto frame = firstFrameOfWebP(data);
    if (!frame || !isAcceptable(frame->canvas, budget))
        return {};
    const Representations picture = decodeStill(frame->file, budget);
    if (picture.empty() || picture[0].pixelsWide() != static_cast<int>(frame->size.wide) ||
        picture[0].pixelsHigh() != static_cast<int>(frame->size.high))
        return {};
    Representations result;
    auto& canvas = result.emplace_back(static_cast<int>(frame->canvas.wide), static_cast<int>(frame->canvas.high));
    for (int y = 0; y < picture[0].pixelsHigh(); ++y) {
        const auto row = picture[0].row(y);
        std::copy(row.begin(), row.end(), canvas.row(y + static_cast<int>(frame->top)).begin() + frame->left);
    }
    return result;
}

} // namespace

Representations decodeWebP(DataView data, long budget) {
    return isAnimatedWebP(data) ? decodeFirstFrame(data, budget) : decodeStill(data, budget);
}

} // namespace platform
