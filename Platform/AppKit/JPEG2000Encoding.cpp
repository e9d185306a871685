#include "Encoders.h"
#include "JPEG2000Handles.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace platform {
namespace {

// Box lengths are filled in afterwards: the stream is written at places, not only at its end.
struct Output {
    Data data;
    std::size_t position = 0;
};

OPJ_SIZE_T writeBytes(void* source, OPJ_SIZE_T count, void* user) {
    Output& output = *static_cast<Output*>(user);
    try { // no exception may pass through the C library
        output.data.resize(std::max<std::size_t>(output.data.size(), output.position + count));
    } catch (const std::bad_alloc&) {
        return static_cast<OPJ_SIZE_T>(-1);
    }
    std::memcpy(output.data.data() + output.position, source, count);
    output.position += count;
    return count;
}

OPJ_BOOL seekBytes(OPJ_OFF_T offset, void* user) {
    if (offset < 0)
        return OPJ_FALSE;
    static_cast<Output*>(user)->position = static_cast<std::size_t>(offset);
    return OPJ_TRUE;
}

OPJ_OFF_T skipBytes(OPJ_OFF_T count, void* user) {
    const Output& output = *static_cast<Output*>(user);
    return seekBytes(static_cast<OPJ_OFF_T>(output.position) + count, user) ? count : -1;
}

JPEG2000Image imageFrom(const NSBitmapImageRep& bitmap) {
    opj_image_cmptparm_t parameters[4]{};
    for (auto& parameter : parameters) {
        parameter.dx = parameter.dy = 1;
        parameter.w = static_cast<OPJ_UINT32>(bitmap.pixelsWide());
        parameter.h = static_cast<OPJ_UINT32>(bitmap.pixelsHigh());
        parameter.prec = 8;
    }
    JPEG2000Image image(opj_image_create(4, parameters, OPJ_CLRSPC_SRGB));
    if (!image)
        return nullptr;
    image->x1 = parameters[0].w;
    image->y1 = parameters[0].h;
    image->comps[3].alpha = 1;
    const auto pixels = bitmap.pixels();
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const StraightPixel pixel = straight(pixels[i]);
        image->comps[0].data[i] = pixel.red;
        image->comps[1].data[i] = pixel.green;
        image->comps[2].data[i] = pixel.blue;
        image->comps[3].data[i] = pixel.alpha;
    }
    return image;
}

} // namespace

std::optional<Data> encodeJPEG2000(const NSBitmapImageRep& bitmap) {
    const JPEG2000Image image = imageFrom(bitmap);
    const JPEG2000Codec codec(opj_create_compress(OPJ_CODEC_JP2));
    const JPEG2000Stream stream(opj_stream_default_create(OPJ_FALSE), &opj_stream_destroy);
    if (!image || !codec || !stream)
        return std::nullopt;
    Output output;
    opj_stream_set_user_data(stream.get(), &output, nullptr);
    opj_stream_set_write_function(stream.get(), writeBytes);
    opj_stream_set_seek_function(stream.get(), seekBytes);
    opj_stream_set_skip_function(stream.get(), skipBytes);
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters); // reversible, one layer
    parameters.cp_disto_alloc = 1;
    parameters.tcp_numlayers = 1;
    parameters.tcp_rates[0] = 0; // without loss
    // Each resolution halves the one before: a small picture has few.
    const auto side = static_cast<unsigned>(std::min(bitmap.pixelsWide(), bitmap.pixelsHigh()));
    parameters.numresolution = std::min(parameters.numresolution, static_cast<int>(std::bit_width(side)));
    const bool written = opj_setup_encoder(codec.get(), &parameters, image.get()) &&
                         opj_start_compress(codec.get(), image.get(), stream.get()) &&
                         opj_encode(codec.get(), stream.get()) && opj_end_compress(codec.get(), stream.get());
    return written ? std::optional(std::move(output.data)) : std::nullopt;
}

} // namespace platform
