#include "Decoders.h"
#include "ImageDecoding.h"
#include "TIFFStream.h"

#include <tiffio.h>

namespace platform {
namespace {

constexpr std::size_t largestAllocation = std::size_t{256} << 20;

PixelSize pageSize(TIFF* handle) {
    PixelSize size;
    if (TIFFGetField(handle, TIFFTAG_IMAGEWIDTH, &size.wide) != 1 ||
        TIFFGetField(handle, TIFFTAG_IMAGELENGTH, &size.high) != 1)
        return {};
    return size;
}

// Premultiplied already: the library multiplies where the file says that alpha is not associated.
std::optional<NSBitmapImageRep> decodePage(TIFF* handle, PixelSize size) {
    NSBitmapImageRep bitmap(static_cast<int>(size.wide), static_cast<int>(size.high));
    const auto pixels = bitmap.pixels();
    if (TIFFReadRGBAImageOriented(handle, size.wide, size.high, pixels.data(), ORIENTATION_TOPLEFT, 1) != 1)
        return std::nullopt;
    for (auto& pixel : pixels) {
        const std::uint32_t alpha = TIFFGetA(pixel);
        // Files that confuse the two kinds of alpha exist: no colour above it.
        pixel = alpha << 24 | std::min(TIFFGetR(pixel), alpha) << 16 | std::min(TIFFGetG(pixel), alpha) << 8 |
                std::min(TIFFGetB(pixel), alpha);
    }
    return bitmap;
}

void applyPageResolution(TIFF* handle, NSBitmapImageRep& bitmap) {
    float across = 0;
    float down = 0;
    std::uint16_t unit = RESUNIT_INCH;
    TIFFGetFieldDefaulted(handle, TIFFTAG_RESOLUTIONUNIT, &unit);
    if (unit == RESUNIT_NONE || TIFFGetField(handle, TIFFTAG_XRESOLUTION, &across) != 1 ||
        TIFFGetField(handle, TIFFTAG_YRESOLUTION, &down) != 1)
        return;
    const double perInch = unit == RESUNIT_CENTIMETER ? 2.54 : 1;
    applyResolution(bitmap, across * perInch, down * perInch);
}

} // namespace

Representations decodeTIFF(DataView data, long budget) {
    TIFFStream stream{data, nullptr, 0};
    const TIFFHandle handle = openTIFF(stream, largestAllocation);
    Representations result;
    std::size_t pages = 0; // those that are passed over count too
    for (bool more = handle != nullptr; more && pages < maximumRepresentations;
         more = TIFFReadDirectory(handle.get()) == 1) {
        ++pages;
        const PixelSize size = pageSize(handle.get());
        if (!isAcceptable(size, budget))
            continue;
        budget -= static_cast<long>(size.wide) * static_cast<long>(size.high);
        auto page = decodePage(handle.get(), size);
        if (!page)
            continue;
        applyPageResolution(handle.get(), *page);
        result.push_back(std::move(*page));
    }
    return result;
}

} // namespace platform
