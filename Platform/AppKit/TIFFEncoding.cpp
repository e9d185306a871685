#include "TIFFEncoding.h"

#include "TIFFStream.h"

#include <tiffio.h>

namespace platform {
namespace {

// Samples in the order red, green, blue, alpha.
void writeSamples(std::span<const NSBitmapImageRep::Pixel> pixels, std::uint8_t* out) {
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        out[4 * i] = static_cast<std::uint8_t>(pixels[i] >> 16);
        out[4 * i + 1] = static_cast<std::uint8_t>(pixels[i] >> 8);
        out[4 * i + 2] = static_cast<std::uint8_t>(pixels[i]);
        out[4 * i + 3] = static_cast<std::uint8_t>(pixels[i] >> 24);
    }
}

double pixelsPerInch(int pixels, double points) {
    constexpr double pointsPerInch = 72;
    return points > 0 ? pixels * pointsPerInch / points : pointsPerInch;
}

bool writePage(TIFF* handle, const NSBitmapImageRep& page) {
    const auto wide = static_cast<std::uint32_t>(page.pixelsWide());
    const auto high = static_cast<std::uint32_t>(page.pixelsHigh());
    const std::uint16_t alpha = EXTRASAMPLE_ASSOCALPHA;
    TIFFSetField(handle, TIFFTAG_IMAGEWIDTH, wide);
    TIFFSetField(handle, TIFFTAG_IMAGELENGTH, high);
    TIFFSetField(handle, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(handle, TIFFTAG_SAMPLESPERPIXEL, 4);
    TIFFSetField(handle, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    TIFFSetField(handle, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(handle, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(handle, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(handle, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(handle, TIFFTAG_ROWSPERSTRIP, high);
    TIFFSetField(handle, TIFFTAG_XRESOLUTION, pixelsPerInch(page.pixelsWide(), page.size().width));
    TIFFSetField(handle, TIFFTAG_YRESOLUTION, pixelsPerInch(page.pixelsHigh(), page.size().height));
    TIFFSetField(handle, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    Data samples(page.pixels().size() * 4);
    writeSamples(page.pixels(), samples.data());
    const auto size = static_cast<tmsize_t>(samples.size());
    return TIFFWriteEncodedStrip(handle, 0, samples.data(), size) == size && TIFFWriteDirectory(handle) == 1;
}

} // namespace

std::optional<Data> encodeTIFF(std::span<const std::shared_ptr<const NSBitmapImageRep>> pages) {
    if (pages.empty())
        return std::nullopt;
    Data result;
    std::size_t size = 0;
    for (const auto& page : pages)
        size += page->pixels().size() * 4 + 512;
    result.reserve(size);
    TIFFStream stream{{}, &result, 0};
    {
        const TIFFHandle handle = openTIFF(stream, 0);
        if (!handle)
            return std::nullopt;
        for (const auto& page : pages)
            if (!writePage(handle.get(), *page))
                return std::nullopt;
    }
    return result;
}

std::optional<Data> encodeTIFF(const NSBitmapImageRep& page) {
    const std::shared_ptr<const NSBitmapImageRep> pages[] = {{std::shared_ptr<void>(), &page}};
    return encodeTIFF(pages);
}

std::optional<Data> NSBitmapImageRep::TIFFRepresentation() const {
    return encodeTIFF(*this);
}

} // namespace platform
