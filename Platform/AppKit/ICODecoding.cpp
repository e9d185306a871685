#include "ByteReader.h"
#include "Decoders.h"
#include "ImageDecoding.h"

namespace platform {
namespace {

constexpr std::size_t infoHeader = 40;

std::size_t rowBytes(std::size_t wide, std::size_t bitsPerPixel) {
    return (wide * bitsPerPixel + 31) / 32 * 4;
}

// A bitmap without a file header: colours from the bottom row up, then a mask of 1 bit a pixel, 1 for transparent. The
// header's height counts both.
struct IconBitmap {
    ByteReader bytes;
    std::size_t wide = 0;
    std::size_t high = 0;
    std::size_t depth = 0; // bits a pixel
    std::size_t palette = 0;
    std::size_t colours = 0; // offsets
    std::size_t mask = 0;

    explicit IconBitmap(DataView data) : bytes(data) {
        wide = bytes.little32(4);
        high = bytes.little32(8) / 2;
        depth = bytes.little16(14);
        palette = bytes.little32(0);
        const std::size_t used = bytes.little32(32);
        const std::size_t entries = depth > 8   ? 0
                                    : used != 0 ? std::min<std::size_t>(used, 256)
                                                : std::size_t{1} << depth;
        colours = palette + 4 * entries;
        mask = colours + high * rowBytes(wide, depth);
    }

    [[nodiscard]] bool isReadable() const {
        constexpr std::uint32_t plain = 0;
        constexpr std::uint32_t bitFields = 3; // written for 32 bits by some tools, with the usual masks
        const std::uint32_t compression = bytes.little32(16);
        const bool isDepth = depth == 1 || depth == 4 || depth == 8 || depth == 24 || depth == 32;
        return palette >= infoHeader && palette <= 124 && isDepth &&
               (compression == plain || (compression == bitFields && depth == 32)) && mask <= bytes.size();
    }

    // Blue, green, red and what 32-bit pixels have for alpha, from the lowest byte up; x and y from the top left.
    [[nodiscard]] std::uint32_t colourAt(std::size_t x, std::size_t y) const {
        const std::size_t row = colours + (high - 1 - y) * rowBytes(wide, depth);
        if (depth == 32)
            return bytes.little32(row + 4 * x);
        if (depth == 24)
            return bytes.little24(row + 3 * x);
        const std::size_t bit = x * depth;
        const unsigned shift = static_cast<unsigned>(8 - depth - bit % 8);
        const std::size_t index = static_cast<unsigned>(bytes.byte(row + bit / 8)) >> shift & ((1u << depth) - 1);
        return palette + 4 * index < colours ? bytes.little24(palette + 4 * index) : 0;
    }

    // A mask that is cut off hides nothing.
    [[nodiscard]] bool isMasked(std::size_t x, std::size_t y) const {
        return (bytes.byte(mask + (high - 1 - y) * rowBytes(wide, 1) + x / 8) >> (7 - x % 8) & 1) != 0;
    }

    // 32-bit pixels carry alpha, except in files from before that was thought of: there it is 0 throughout.
    [[nodiscard]] bool hasAlpha() const {
        for (std::size_t y = 0; depth == 32 && y < high; ++y)
            for (std::size_t x = 0; x < wide; ++x)
                if (colourAt(x, y) >> 24 != 0)
                    return true;
        return false;
    }
};

Representations decodeBitmapEntry(DataView data, long budget) {
    const IconBitmap icon(data);
    const PixelSize size{static_cast<std::uint32_t>(icon.wide), static_cast<std::uint32_t>(icon.high)};
    if (!isAcceptable(size, budget) || !icon.isReadable())
        return {};
    Representations result;
    NSBitmapImageRep& bitmap = result.emplace_back(static_cast<int>(icon.wide), static_cast<int>(icon.high));
    const bool hasAlpha = icon.hasAlpha();
    for (std::size_t y = 0; y < icon.high; ++y) {
        const auto row = bitmap.row(static_cast<int>(y));
        for (std::size_t x = 0; x < icon.wide; ++x) {
            const std::uint32_t colour = icon.colourAt(x, y);
            const std::uint32_t alpha = hasAlpha ? colour >> 24 : icon.isMasked(x, y) ? 0u : 255u;
            row[x] = premultipliedPixel(colour >> 16 & 0xFF, colour >> 8 & 0xFF, colour & 0xFF, alpha);
        }
    }
    return result;
}

} // namespace

Representations decodeICO(DataView data, long budget) {
    constexpr std::size_t directory = 6;
    constexpr std::size_t entrySize = 16;
    const ByteReader bytes(data);
    const std::size_t count = std::min<std::size_t>(bytes.little16(4), maximumRepresentations);
    Representations result;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = directory + i * entrySize;
        const DataView part = bytes.part(bytes.little32(entry + 12), bytes.little32(entry + 8));
        const bool isPNG = sniffImageType(part) == ImageType::PNG;
        append(result, isPNG ? decodeWithPixbuf(part, ImageType::PNG, budget) : decodeBitmapEntry(part, budget),
               budget);
    }
    return result;
}

} // namespace platform
