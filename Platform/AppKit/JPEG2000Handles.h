// The JPEG 2000 library's objects with their ends. For the sources of this folder that read or write the format.
#pragma once

#include <memory>
#include <openjpeg.h>

namespace platform {

struct JPEG2000Closer {
    void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
    void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};
using JPEG2000Codec = std::unique_ptr<opj_codec_t, JPEG2000Closer>;
using JPEG2000Image = std::unique_ptr<opj_image_t, JPEG2000Closer>;
// Its handle is of the same C type as a codec's.
using JPEG2000Stream = std::unique_ptr<opj_stream_t, decltype(&opj_stream_destroy)>;

} // namespace platform
