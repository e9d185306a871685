#include "ImageDecoding.h"

#include "Decoders.h"

#include <algorithm>

namespace platform {
namespace {

Representations decode(DataView data, ImageType type) {
    switch (type) {
    case ImageType::TIFF:
        return decodeTIFF(data, maximumImagePixels);
    case ImageType::ICO:
        return decodeICO(data, maximumImagePixels);
    case ImageType::ICNS:
        return decodeICNS(data, maximumImagePixels);
    case ImageType::JPEG2000:
        return decodeJPEG2000(data, maximumImagePixels);
    case ImageType::WebP:
        return decodeWebP(data, maximumImagePixels);
    case ImageType::PNG:
    case ImageType::JPEG:
    case ImageType::GIF:
    case ImageType::BMP:
        break;
    }
    return decodeWithPixbuf(data, type, maximumImagePixels);
}

} // namespace

void applyResolution(NSBitmapImageRep& bitmap, double across, double down) {
    constexpr double pointsPerInch = 72;
    const auto isPlausible = [](double resolution) { return resolution >= 36 && resolution <= 2400; };
    if (isPlausible(across) && isPlausible(down))
        bitmap.setSize({bitmap.pixelsWide() * pointsPerInch / across, bitmap.pixelsHigh() * pointsPerInch / down});
}

void append(Representations& all, Representations more, long& budget) {
    for (auto& representation : more) {
        budget -= static_cast<long>(representation.pixels().size());
        all.push_back(std::move(representation));
    }
}

std::vector<NSBitmapImageRep> decodeImage(DataView data) {
    const auto type = sniffImageType(data);
    if (!type)
        return {};
    Representations found = decode(data, *type);
    std::stable_sort(found.begin(), found.end(), [](const NSBitmapImageRep& a, const NSBitmapImageRep& b) {
        return a.pixels().size() > b.pixels().size();
    });
    return found;
}

} // namespace platform
