#include "Decoders.h"
#include "JPEG2000Handles.h"

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

struct Input {
    DataView data;
    std::size_t position = 0;
};

OPJ_SIZE_T readBytes(void* target, OPJ_SIZE_T count, void* user) {
    Input& input = *static_cast<Input*>(user);
    const std::size_t given = std::min<std::size_t>(count, input.data.size() - input.position);
    if (given == 0)
        return static_cast<OPJ_SIZE_T>(-1);
    std::memcpy(target, input.data.data() + input.position, given);
    input.position += given;
    return given;
}

OPJ_BOOL seekBytes(OPJ_OFF_T offset, void* user) {
    Input& input = *static_cast<Input*>(user);
    if (offset < 0 || static_cast<std::size_t>(offset) > input.data.size())
        return OPJ_FALSE;
    input.position = static_cast<std::size_t>(offset);
    return OPJ_TRUE;
}

OPJ_OFF_T skipBytes(OPJ_OFF_T count, void* user) {
    Input& input = *static_cast<Input*>(user);
    return seekBytes(static_cast<OPJ_OFF_T>(input.position) + count, user) ? count : -1;
}

JPEG2000Stream openStream(Input& input) {
    JPEG2000Stream stream(opj_stream_default_create(OPJ_TRUE), &opj_stream_destroy);
    opj_stream_set_user_data(stream.get(), &input, nullptr);
    opj_stream_set_user_data_length(stream.get(), input.data.size());
    opj_stream_set_read_function(stream.get(), readBytes);
    opj_stream_set_skip_function(stream.get(), skipBytes);
    opj_stream_set_seek_function(stream.get(), seekBytes);
    return stream;
}

PixelSize sizeOf(const opj_image_t& image) {
    return {image.x1 - image.x0, image.y1 - image.y0};
}

// Grey or RGB, with or without alpha, every component in full size.
bool isReadable(const opj_image_t& image) {
    const bool isOtherSpace = image.color_space == OPJ_CLRSPC_SYCC || image.color_space == OPJ_CLRSPC_EYCC ||
                              image.color_space == OPJ_CLRSPC_CMYK;
    if (image.numcomps < 1 || image.numcomps > 4 || isOtherSpace)
        return false;
    return std::all_of(image.comps, image.comps + image.numcomps, [&](const opj_image_comp_t& component) {
        return component.dx == 1 && component.dy == 1 && component.prec >= 1 && component.prec <= 16;
    });
}

// Tiles cost their bookkeeping whether they hold anything or not.
bool hasTooManyTiles(opj_codec_t* codec) {
    constexpr long enough = 4096;
    opj_codestream_info_v2_t* information = opj_get_cstr_info(codec);
    const bool tooMany =
        !information || static_cast<long>(information->tw) * static_cast<long>(information->th) > enough;
    if (information)
        opj_destroy_cstr_info(&information);
    return tooMany;
}

std::uint32_t sampleAt(const opj_image_comp_t& component, std::size_t i) {
    const long value = component.data[i] + (component.sgnd ? 1L << (component.prec - 1) : 0L);
    const long most = (1L << component.prec) - 1;
    return static_cast<std::uint32_t>((std::clamp(value, 0L, most) * 255 + most / 2) / most);
}

Representations bitmapFrom(const opj_image_t& image) {
    const PixelSize size = sizeOf(image);
    for (OPJ_UINT32 c = 0; c < image.numcomps; ++c)
        if (!image.comps[c].data || image.comps[c].w != size.wide || image.comps[c].h != size.high)
            return {};
    Representations result;
    const auto pixels = result.emplace_back(static_cast<int>(size.wide), static_cast<int>(size.high)).pixels();
    const bool hasAlpha = image.numcomps % 2 == 0;
    const OPJ_UINT32 green = image.numcomps >= 3 ? 1 : 0;
    const OPJ_UINT32 blue = 2 * green;
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = premultipliedPixel(sampleAt(image.comps[0], i), sampleAt(image.comps[green], i),
                                       sampleAt(image.comps[blue], i),
                                       hasAlpha ? sampleAt(image.comps[image.numcomps - 1], i) : 255u);
    return result;
}

} // namespace

Representations decodeJPEG2000(DataView data, long budget) {
    const bool isBare = !data.empty() && data.front() == 0xFF;
    Input input{data};
    const JPEG2000Stream stream = openStream(input);
    const JPEG2000Codec codec(opj_create_decompress(isBare ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_image_t* header = nullptr;
    if (!opj_setup_decoder(codec.get(), &parameters) || !opj_read_header(stream.get(), codec.get(), &header))
        return {};
    const JPEG2000Image image(header);
    const PixelSize size = sizeOf(*image);
    if (!isReadable(*image) || !isAcceptable(size, budget) || hasTooManyTiles(codec.get()))
        return {};
    if (!opj_decode(codec.get(), stream.get(), image.get()) || !opj_end_decompress(codec.get(), stream.get()))
        return {};
    return isReadable(*image) ? bitmapFrom(*image) : Representations();
}

} // namespace platform
