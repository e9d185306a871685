#include "AnimationFrames.h"
#include "Decoders.h"
#include "ImageDecoding.h"

#include <cstdlib>
#include <gdk-pixbuf/gdk-pixbuf.h>

namespace platform {
namespace {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
using LoaderHandle = std::unique_ptr<GdkPixbufLoader, Unref>;
using PixbufHandle = std::unique_ptr<GdkPixbuf, Unref>;

const char* loaderName(ImageType type) {
    switch (type) {
    case ImageType::PNG:
        return "png";
    case ImageType::JPEG:
        return "jpeg";
    case ImageType::GIF:
        return "gif";
    case ImageType::BMP:
        return "bmp";
    default:
        return "";
    }
}

// Should a decoder find another size than the header told: no pixels at all.
void refuseOtherSizes(GdkPixbufLoader* loader, int wide, int high, gpointer size) {
    const auto& declared = *static_cast<const PixelSize*>(size);
    if (wide < 1 || high < 1 || static_cast<std::uint32_t>(wide) > declared.wide ||
        static_cast<std::uint32_t>(high) > declared.high)
        gdk_pixbuf_loader_set_size(loader, 0, 0);
}

PixbufHandle load(DataView data, ImageType type, PixelSize size) {
    const LoaderHandle loader(gdk_pixbuf_loader_new_with_type(loaderName(type), nullptr));
    if (!loader)
        return nullptr;
    g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(refuseOtherSizes), &size);
    const bool written = gdk_pixbuf_loader_write(loader.get(), data.data(), data.size(), nullptr) != 0;
    const bool closed = gdk_pixbuf_loader_close(loader.get(), nullptr) != 0;
    GdkPixbuf* pixbuf = written && closed ? gdk_pixbuf_loader_get_pixbuf(loader.get()) : nullptr;
    // Turned as the camera was held, for the formats that say how.
    return PixbufHandle(pixbuf ? gdk_pixbuf_apply_embedded_orientation(pixbuf) : nullptr);
}

NSBitmapImageRep bitmapFrom(GdkPixbuf* pixbuf) {
    NSBitmapImageRep bitmap(gdk_pixbuf_get_width(pixbuf), gdk_pixbuf_get_height(pixbuf));
    const bool hasAlpha = gdk_pixbuf_get_has_alpha(pixbuf) != 0;
    const std::ptrdiff_t step = hasAlpha ? 4 : 3;
    const guint8* first = gdk_pixbuf_read_pixels(pixbuf);
    for (int y = 0; y < bitmap.pixelsHigh(); ++y) {
        const guint8* sample = first + static_cast<std::ptrdiff_t>(y) * gdk_pixbuf_get_rowstride(pixbuf);
        for (auto& pixel : bitmap.row(y)) {
            const std::uint32_t alpha = hasAlpha ? sample[3] : 255u;
            pixel = premultipliedPixel(sample[0], sample[1], sample[2], alpha);
            sample += step;
        }
    }
    return bitmap;
}

double resolution(GdkPixbuf* pixbuf, const char* option) {
    const char* text = gdk_pixbuf_get_option(pixbuf, option);
    return text ? std::atof(text) : 0;
}

Representations decodeStill(DataView data, ImageType type, long budget) {
    const auto size = declaredSize(data, type);
    if (!size || !isAcceptable(*size, budget))
        return {};
    const PixbufHandle pixbuf = load(data, type, *size);
    if (!pixbuf)
        return {};
    Representations result;
    result.push_back(bitmapFrom(pixbuf.get()));
    applyResolution(result.back(), resolution(pixbuf.get(), "x-dpi"), resolution(pixbuf.get(), "y-dpi"));
    return result;
}

} // namespace

void prepareImageDecoding(DataView data) {
    const auto type = sniffImageType(data);
    if (!type || type == ImageType::TIFF || type == ImageType::JPEG2000 || type == ImageType::WebP)
        return;
    const bool isContainer = type == ImageType::ICO || type == ImageType::ICNS;
    const LoaderHandle loader(
        gdk_pixbuf_loader_new_with_type(loaderName(isContainer ? ImageType::PNG : *type), nullptr));
    if (loader)
        gdk_pixbuf_loader_close(loader.get(), nullptr);
}

Representations decodeWithPixbuf(DataView data, ImageType type, long budget) {
    if (type == ImageType::GIF)
        return decodeStill(firstFrameOfGIF(data), type, budget);
    return decodeStill(data, type, budget);
}

} // namespace platform
