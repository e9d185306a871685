#include "Encoders.h"
#include "TIFFEncoding.h"

#include <cmath>
#include <gdk-pixbuf/gdk-pixbuf.h>

namespace platform {
namespace {

struct Unref {
    void operator()(GdkPixbuf* pixbuf) const { g_object_unref(pixbuf); }
};
using PixbufHandle = std::unique_ptr<GdkPixbuf, Unref>;

enum class Transparency : std::uint8_t { Kept, OnWhite };

PixbufHandle pixbufFrom(const NSBitmapImageRep& bitmap, Transparency transparency) {
    const bool keepsAlpha = transparency == Transparency::Kept;
    PixbufHandle pixbuf(gdk_pixbuf_new(GDK_COLORSPACE_RGB, keepsAlpha, 8, bitmap.pixelsWide(), bitmap.pixelsHigh()));
    if (!pixbuf)
        return nullptr;
    guchar* const first = gdk_pixbuf_get_pixels(pixbuf.get());
    for (int y = 0; y < bitmap.pixelsHigh(); ++y) {
        guchar* sample = first + static_cast<std::ptrdiff_t>(y) * gdk_pixbuf_get_rowstride(pixbuf.get());
        for (const auto pixel : bitmap.row(y)) {
            const std::uint32_t white = 255 - (pixel >> 24); // what shows through
            const StraightPixel colour = keepsAlpha ? straight(pixel) : straight(pixel + white * 0x01010101u);
            *sample++ = colour.red;
            *sample++ = colour.green;
            *sample++ = colour.blue;
            if (keepsAlpha)
                *sample++ = colour.alpha;
        }
    }
    return pixbuf;
}

// Pixels an inch; empty for the usual 72, which files need not mention.
std::string resolutionText(int pixels, double points) {
    const double resolution = points > 0 ? pixels * 72.0 / points : 72;
    return resolution == 72 || !(resolution < 1e6) ? std::string() : std::to_string(std::lround(resolution));
}

std::optional<Data> encodeWithPixbuf(const NSBitmapImageRep& bitmap, const char* type, Transparency transparency) {
    const PixbufHandle pixbuf = pixbufFrom(bitmap, transparency);
    if (!pixbuf)
        return std::nullopt;
    const std::string across = resolutionText(bitmap.pixelsWide(), bitmap.size().width);
    const std::string down = resolutionText(bitmap.pixelsHigh(), bitmap.size().height);
    std::vector<std::pair<const char*, const char*>> options;
    const std::string_view name(type);
    if (name == "jpeg")
        options.emplace_back("quality", "90");
    if (name != "bmp" && !across.empty() && !down.empty())
        options.insert(options.end(), {{"x-dpi", across.c_str()}, {"y-dpi", down.c_str()}});
    std::vector<char*> keys;
    std::vector<char*> values;
    for (const auto& [key, value] : options) {
        keys.push_back(const_cast<char*>(key)); // the library's older habit; it writes to neither
        values.push_back(const_cast<char*>(value));
    }
    keys.push_back(nullptr);
    values.push_back(nullptr);
    gchar* buffer = nullptr;
    gsize size = 0;
    if (!gdk_pixbuf_save_to_bufferv(pixbuf.get(), &buffer, &size, type, keys.data(), values.data(), nullptr))
        return std::nullopt;
    const std::unique_ptr<gchar, decltype(&g_free)> owned(buffer, &g_free);
    return Data(buffer, buffer + size);
}

} // namespace

StraightPixel straight(NSBitmapImageRep::Pixel pixel) {
    const std::uint32_t alpha = pixel >> 24;
    if (alpha == 0)
        return {};
    const auto divided = [&](unsigned shift) {
        return static_cast<std::uint8_t>(std::min(255u, ((pixel >> shift & 0xFF) * 255 + alpha / 2) / alpha));
    };
    return {divided(16), divided(8), divided(0), static_cast<std::uint8_t>(alpha)};
}

std::optional<Data> NSBitmapImageRep::representationUsingType_properties(NSBitmapImageFileType type,
                                                                         std::nullopt_t) const {
    switch (type) {
    case NSTIFFFileType:
        return TIFFRepresentation();
    case NSBMPFileType:
        return encodeWithPixbuf(*this, "bmp", Transparency::OnWhite);
    case NSGIFFileType:
        return encodeGIF(*this);
    case NSJPEGFileType:
        return encodeWithPixbuf(*this, "jpeg", Transparency::OnWhite);
    case NSPNGFileType:
        return encodeWithPixbuf(*this, "png", Transparency::Kept);
    case NSJPEG2000FileType:
        return encodeJPEG2000(*this);
    }
    return std::nullopt;
}

} // namespace platform
