// Scaling a page to its thumbnail and encoding it, beside the peers that could have done it.
#include "AppKit/ImageDecoding.h"
#include "AppKit/ImageScaling.h"
#include "AppKit/NSImage.h"
#include "Ratios.h"

#include <cairo.h>
#include <cmath>
#include <gdk-pixbuf/gdk-pixbuf.h>

using namespace platform;

namespace {

constexpr int pageWide = 905;
constexpr int pageHigh = 680;
constexpr int thumbWide = 301;
constexpr int thumbHigh = 226;

const NSBitmapImageRep& page() {
    static const NSBitmapImageRep made = [] {
        NSBitmapImageRep bitmap(pageWide, pageHigh);
        for (int y = 0; y < pageHigh; ++y)
            for (int x = 0; x < pageWide; ++x) {
                const auto wave = [&](double a, double b) {
                    return static_cast<std::uint32_t>(127.5 + 127.5 * std::sin(x * a) * std::cos(y * b));
                };
                bitmap.row(y)[static_cast<std::size_t>(x)] =
                    0xFF000000u | wave(0.05, 0.3) << 16 | wave(0.9, 0.07) << 8 | wave(0.31, 0.11);
            }
        return bitmap;
    }();
    return made;
}

void scaleOurs(benchmark::State& state, NSImageInterpolation interpolation) {
    for (auto _ : state) {
        auto thumb =
            resampledBitmap(page(), NSMakeRect(0, 0, pageWide, pageHigh), NSMakeRect(0, 0, thumbWide, thumbHigh),
                            {0, 0, thumbWide, thumbHigh}, interpolation);
        benchmark::DoNotOptimize(thumb.pixels().data());
    }
}
void ours_lanczos(benchmark::State& state) {
    scaleOurs(state, NSImageInterpolationHigh);
}
void ours_linear(benchmark::State& state) {
    scaleOurs(state, NSImageInterpolationLow);
}

// As the thumbnail is made: focus, interpolation, drawing, read-back.
void ours_draw_in_focus(benchmark::State& state) {
    NSImage image = NSImage::initWithSize(page().size());
    image.addRepresentation(std::make_shared<const NSBitmapImageRep>(page()));
    for (auto _ : state) {
        NSImage thumb = NSImage::initWithSize({thumbWide, thumbHigh});
        thumb.lockFocus();
        NSGraphicsContext::currentContext()->setImageInterpolation(NSImageInterpolationHigh);
        image.drawInRect_fromRect_operation_fraction(NSMakeRect(0, 0, thumbWide, thumbHigh), NSZeroRect,
                                                     NSCompositeCopy, 1.0);
        thumb.unlockFocus();
        benchmark::DoNotOptimize(thumb.isValid());
    }
}

void scaleCairo(benchmark::State& state, cairo_filter_t filter) {
    NSBitmapImageRep copy = page();
    cairo_surface_t* source = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(copy.pixels().data()), CAIRO_FORMAT_ARGB32, pageWide, pageHigh, pageWide * 4);
    for (auto _ : state) {
        cairo_surface_t* target = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, thumbWide, thumbHigh);
        cairo_t* cairo = cairo_create(target);
        cairo_scale(cairo, static_cast<double>(thumbWide) / pageWide, static_cast<double>(thumbHigh) / pageHigh);
        cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
        cairo_set_source_surface(cairo, source, 0, 0);
        cairo_pattern_set_filter(cairo_get_source(cairo), filter);
        cairo_paint(cairo);
        cairo_destroy(cairo);
        benchmark::DoNotOptimize(cairo_image_surface_get_data(target));
        cairo_surface_destroy(target);
    }
    cairo_surface_destroy(source);
}
void cairo_best(benchmark::State& state) {
    scaleCairo(state, CAIRO_FILTER_BEST);
}
void cairo_good(benchmark::State& state) {
    scaleCairo(state, CAIRO_FILTER_GOOD);
}

void scalePixbuf(benchmark::State& state, GdkInterpType type) {
    NSBitmapImageRep copy = page();
    GdkPixbuf* source = gdk_pixbuf_new_from_data(reinterpret_cast<guchar*>(copy.pixels().data()), GDK_COLORSPACE_RGB, 1,
                                                 8, pageWide, pageHigh, pageWide * 4, nullptr, nullptr);
    for (auto _ : state) {
        GdkPixbuf* target = gdk_pixbuf_scale_simple(source, thumbWide, thumbHigh, type);
        benchmark::DoNotOptimize(gdk_pixbuf_read_pixels(target));
        g_object_unref(target);
    }
    g_object_unref(source);
}
void pixbuf_hyper(benchmark::State& state) {
    scalePixbuf(state, GDK_INTERP_HYPER);
}
void pixbuf_bilinear(benchmark::State& state) {
    scalePixbuf(state, GDK_INTERP_BILINEAR);
}

NSBitmapImageRep thumbnail() {
    return resampledBitmap(page(), NSMakeRect(0, 0, pageWide, pageHigh), NSMakeRect(0, 0, thumbWide, thumbHigh),
                           {0, 0, thumbWide, thumbHigh}, NSImageInterpolationHigh);
}

void ours_tiff(benchmark::State& state) {
    const NSBitmapImageRep thumb = thumbnail();
    for (auto _ : state)
        benchmark::DoNotOptimize(thumb.TIFFRepresentation());
}

void saveWithPixbuf(benchmark::State& state, const char* type, const char* option, const char* value) {
    NSBitmapImageRep thumb = thumbnail();
    GdkPixbuf* source = gdk_pixbuf_new_from_data(reinterpret_cast<guchar*>(thumb.pixels().data()), GDK_COLORSPACE_RGB,
                                                 1, 8, thumbWide, thumbHigh, thumbWide * 4, nullptr, nullptr);
    for (auto _ : state) {
        gchar* buffer = nullptr;
        gsize size = 0;
        gdk_pixbuf_save_to_buffer(source, &buffer, &size, type, nullptr, option, value, nullptr);
        state.counters["bytes"] = static_cast<double>(size);
        g_free(buffer);
    }
    g_object_unref(source);
}
void pixbuf_tiff(benchmark::State& state) {
    saveWithPixbuf(state, "tiff", "compression", "1");
}
void pixbuf_tiff_deflate(benchmark::State& state) {
    saveWithPixbuf(state, "tiff", "compression", "8");
}
void pixbuf_tiff_lzw(benchmark::State& state) {
    saveWithPixbuf(state, "tiff", "compression", "5");
}

// The page's way through TIFF, as the thumbnail's source takes it.
void ours_page_through_tiff(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(NSImage::initWithData(*page().TIFFRepresentation()));
}

BENCHMARK(ours_lanczos)->Unit(benchmark::kMillisecond);
BENCHMARK(ours_linear)->Unit(benchmark::kMillisecond);
BENCHMARK(ours_draw_in_focus)->Unit(benchmark::kMillisecond);
BENCHMARK(cairo_best)->Unit(benchmark::kMillisecond);
BENCHMARK(cairo_good)->Unit(benchmark::kMillisecond);
BENCHMARK(pixbuf_hyper)->Unit(benchmark::kMillisecond);
BENCHMARK(pixbuf_bilinear)->Unit(benchmark::kMillisecond);
BENCHMARK(ours_tiff)->Unit(benchmark::kMillisecond);
BENCHMARK(pixbuf_tiff)->Unit(benchmark::kMillisecond);
BENCHMARK(pixbuf_tiff_deflate)->Unit(benchmark::kMillisecond);
BENCHMARK(pixbuf_tiff_lzw)->Unit(benchmark::kMillisecond);
BENCHMARK(ours_page_through_tiff)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return runWithRatios(argc, argv,
                         {{"ours_lanczos", "cairo_best"},
                          {"ours_lanczos", "cairo_good"},
                          {"ours_lanczos", "pixbuf_hyper"},
                          {"ours_lanczos", "pixbuf_bilinear"},
                          {"ours_draw_in_focus", "cairo_best"},
                          {"ours_tiff", "pixbuf_tiff"},
                          {"ours_tiff", "pixbuf_tiff_deflate"},
                          {"ours_tiff", "pixbuf_tiff_lzw"},
                          {"ours_page_through_tiff", "ours_lanczos"}});
}
