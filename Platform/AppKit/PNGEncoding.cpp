#include "PNGEncoding.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <algorithm>

namespace platform {

namespace {

constexpr int samples = 4;

// A colour without its factor alpha, rounded to the nearest step.
std::uint8_t straight(std::uint32_t premultiplied, std::uint32_t alpha) {
    return alpha == 0 ? std::uint8_t{0}
                      : static_cast<std::uint8_t>(std::min(255u, (premultiplied * 255 + alpha / 2) / alpha));
}

Data straightSamples(const NSBitmapImageRep& page) {
    Data bytes;
    bytes.reserve(page.pixels().size() * samples);
    for (const NSBitmapImageRep::Pixel pixel : page.pixels()) {
        const std::uint32_t alpha = pixel >> 24;
        for (const int shift : {16, 8, 0})
            bytes.push_back(straight(pixel >> shift & 0xFF, alpha));
        bytes.push_back(static_cast<std::uint8_t>(alpha));
    }
    return bytes;
}

} // namespace

std::optional<Data> encodePNG(const NSBitmapImageRep& page) {
    const Data bytes = straightSamples(page);
    GdkPixbuf* picture = gdk_pixbuf_new_from_data(bytes.data(), GDK_COLORSPACE_RGB, TRUE, 8, page.pixelsWide(),
                                                  page.pixelsHigh(), page.pixelsWide() * samples, nullptr, nullptr);
    if (picture == nullptr)
        return std::nullopt;
    char* buffer = nullptr;
    gsize length = 0;
    const bool encoded = gdk_pixbuf_save_to_buffer(picture, &buffer, &length, "png", nullptr, nullptr) != 0;
    g_object_unref(picture);
    if (!encoded)
        return std::nullopt;
    Data data(buffer, buffer + length);
    g_free(buffer);
    return data;
}

} // namespace platform
