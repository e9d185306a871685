// An image's pixels.
//
// A pixel is a 32-bit number 0xAARRGGBB in the processor's byte order, the colours premultiplied by alpha (each at most
// alpha). Rows run from the top of the picture to its bottom without padding. A value; any thread, one at a time.
#pragma once

#include "Foundation/NSString.h"
#include "NSImageRep.h"

#include <cstddef>

namespace platform {

// The platform's numbers.
enum NSBitmapImageFileType : unsigned {
    NSTIFFFileType = 0,
    NSBMPFileType = 1,
    NSGIFFileType = 2,
    NSJPEGFileType = 3,
    NSPNGFileType = 4,
    NSJPEG2000FileType = 5
};

class NSBitmapImageRep final : public NSImageRep {
public:
    using Pixel = std::uint32_t;

    // Transparent pixels. REQUIRES: both above 0.
    NSBitmapImageRep(int pixelsWide, int pixelsHigh);

    // Reads back a rectangle (in points, y upwards) of whatever has the drawing focus, one pixel for each pixel that
    // the rectangle touches; transparent where it reaches beyond. NSException when nothing has the focus or when the
    // rectangle is empty or larger than 32767 pixels a side.
    [[nodiscard]] static NSBitmapImageRep initWithFocusedViewRect(NSRect rect);

    // The first representation in the data of an image file; absent when there is none.
    [[nodiscard]] static std::optional<NSBitmapImageRep> imageRepWithData(DataView data);

    [[nodiscard]] std::span<const Pixel> pixels() const& { return pixels_; }
    [[nodiscard]] std::span<Pixel> pixels() & { return pixels_; }
    void pixels() const&& = delete;                                                  // they would be gone at once
    [[nodiscard]] Pixel pixelAt(int x, int y) const { return pixels_[index(x, y)]; } // y from the top
    [[nodiscard]] std::span<Pixel> row(int y) { return std::span(pixels_).subspan(index(0, y), width()); }
    [[nodiscard]] std::span<const Pixel> row(int y) const { return pixels().subspan(index(0, y), width()); }

    // One uncompressed TIFF page: 8 bits a sample, RGB and associated alpha, 72 pixels an inch unless the size in
    // points says otherwise. Absent when the encoder fails.
    [[nodiscard]] std::optional<Data> TIFFRepresentation() const;
    // A file of that type, without properties of the type's own. BMP and JPEG have no transparency: they show the
    // picture on white. GIF has at most 255 colours, and a pixel is either shown or not. JPEG 2000 (a JP2 file) loses
    // nothing. Absent for another number or when the encoder fails.
    [[nodiscard]] std::optional<Data> representationUsingType_properties(NSBitmapImageFileType type,
                                                                         std::nullopt_t properties) const;

    [[nodiscard]] std::shared_ptr<const NSBitmapImageRep> rendered() const override {
        return std::make_shared<NSBitmapImageRep>(*this);
    }

private:
    [[nodiscard]] std::size_t width() const { return static_cast<std::size_t>(pixelsWide()); }
    [[nodiscard]] std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * width() + static_cast<std::size_t>(x);
    }

    std::vector<Pixel> pixels_;
};

} // namespace platform
