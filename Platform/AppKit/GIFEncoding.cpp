#include "Encoders.h"

#include <algorithm>
#include <array>
#include <gif_lib.h>
#include <unordered_map>

namespace platform {
namespace {

constexpr std::size_t mostColours = 255; // and one entry for transparent pixels
constexpr std::uint8_t transparentIndex = 255;
constexpr std::uint8_t halfAlpha = 128;

struct Indexed {
    std::vector<GifByteType> indexes;
    std::array<GifColorType, 256> palette{};
    bool hasTransparency = false;
};

// As many colours as there are, exactly. False when there are too many.
bool indexExactly(std::span<const StraightPixel> pixels, Indexed& out) {
    std::unordered_map<std::uint32_t, GifByteType> known;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const StraightPixel& pixel = pixels[i];
        if (pixel.alpha < halfAlpha)
            continue;
        const std::uint32_t colour =
            static_cast<std::uint32_t>(pixel.red) << 16 | static_cast<std::uint32_t>(pixel.green) << 8 | pixel.blue;
        const auto [place, isNew] = known.try_emplace(colour, static_cast<GifByteType>(known.size()));
        if (known.size() > mostColours)
            return false;
        out.indexes[i] = place->second;
        out.palette[place->second] = {pixel.red, pixel.green, pixel.blue};
    }
    return true;
}

// The library's median cut, with each colour of the palette then set to the mean of the pixels that it stands for: the
// library itself keeps five bits of it.
bool indexByQuantising(std::span<const StraightPixel> pixels, int wide, int high, Indexed& out) {
    std::array<std::vector<GifByteType>, 3> planes;
    for (const StraightPixel& pixel : pixels) {
        planes[0].push_back(pixel.red);
        planes[1].push_back(pixel.green);
        planes[2].push_back(pixel.blue);
    }
    int count = static_cast<int>(mostColours);
    if (GifQuantizeBuffer(static_cast<unsigned>(wide), static_cast<unsigned>(high), &count, planes[0].data(),
                          planes[1].data(), planes[2].data(), out.indexes.data(), out.palette.data()) != GIF_OK)
        return false;
    std::array<std::array<std::size_t, 4>, 256> sums{};
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        auto& sum = sums[out.indexes[i]];
        for (std::size_t c = 0; c < 3; ++c)
            sum[c] += planes[c][i];
        ++sum[3];
    }
    for (std::size_t k = 0; k < sums.size(); ++k)
        if (const std::size_t n = sums[k][3])
            out.palette[k] = {static_cast<GifByteType>((sums[k][0] + n / 2) / n),
                              static_cast<GifByteType>((sums[k][1] + n / 2) / n),
                              static_cast<GifByteType>((sums[k][2] + n / 2) / n)};
    return true;
}

std::optional<Indexed> index(const NSBitmapImageRep& bitmap) {
    std::vector<StraightPixel> pixels;
    for (const auto pixel : bitmap.pixels())
        pixels.push_back(straight(pixel));
    Indexed result;
    result.indexes.resize(pixels.size());
    if (!indexExactly(pixels, result) && !indexByQuantising(pixels, bitmap.pixelsWide(), bitmap.pixelsHigh(), result))
        return std::nullopt;
    for (std::size_t i = 0; i < pixels.size(); ++i)
        if (pixels[i].alpha < halfAlpha) {
            result.indexes[i] = transparentIndex;
            result.hasTransparency = true;
        }
    return result;
}

int appendBytes(GifFileType* file, const GifByteType* bytes, int count) {
    try { // no exception may pass through the C library
        auto& data = *static_cast<Data*>(file->UserData);
        data.insert(data.end(), bytes, bytes + count);
        return count;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

bool write(GifFileType* file, const NSBitmapImageRep& bitmap, Indexed& picture) {
    const int wide = bitmap.pixelsWide();
    const int high = bitmap.pixelsHigh();
    const std::unique_ptr<ColorMapObject, decltype(&GifFreeMapObject)> palette(
        GifMakeMapObject(256, picture.palette.data()), &GifFreeMapObject);
    EGifSetGifVersion(file, true); // 89a, which knows transparency
    if (!palette || EGifPutScreenDesc(file, wide, high, 8, 0, palette.get()) != GIF_OK)
        return false;
    if (picture.hasTransparency) {
        const GraphicsControlBlock control{DISPOSAL_UNSPECIFIED, false, 0, transparentIndex};
        GifByteType extension[4];
        EGifGCBToExtension(&control, extension);
        if (EGifPutExtension(file, GRAPHICS_EXT_FUNC_CODE, sizeof extension, extension) != GIF_OK)
            return false;
    }
    if (EGifPutImageDesc(file, 0, 0, wide, high, false, nullptr) != GIF_OK)
        return false;
    for (int y = 0; y < high; ++y)
        if (EGifPutLine(file, picture.indexes.data() + static_cast<std::ptrdiff_t>(y) * wide, wide) != GIF_OK)
            return false;
    return true;
}

} // namespace

std::optional<Data> encodeGIF(const NSBitmapImageRep& bitmap) {
    constexpr int largestSide = 65535;
    if (bitmap.pixelsWide() > largestSide || bitmap.pixelsHigh() > largestSide)
        return std::nullopt;
    auto picture = index(bitmap);
    Data data;
    GifFileType* const file = picture ? EGifOpen(&data, appendBytes, nullptr) : nullptr;
    if (!file)
        return std::nullopt;
    const bool written = write(file, bitmap, *picture);
    const bool closed = EGifCloseFile(file, nullptr) == GIF_OK;
    return written && closed ? std::optional(std::move(data)) : std::nullopt;
}

} // namespace platform
