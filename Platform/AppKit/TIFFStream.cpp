#include "TIFFStream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <tiffio.h>

namespace platform {
namespace {

constexpr auto failed = static_cast<tmsize_t>(-1);

TIFFStream& streamOf(thandle_t handle) {
    return *static_cast<TIFFStream*>(handle);
}

tmsize_t readBytes(thandle_t handle, void* target, tmsize_t count) {
    TIFFStream& stream = streamOf(handle);
    const std::size_t start = std::min<std::uint64_t>(stream.position, stream.size());
    const std::size_t given = std::min(static_cast<std::size_t>(count), stream.size() - start);
    const std::uint8_t* bytes = stream.buffer ? stream.buffer->data() : stream.view.data();
    if (given != 0)
        std::memcpy(target, bytes + start, given);
    stream.position = start + given;
    return static_cast<tmsize_t>(given);
}

tmsize_t writeBytes(thandle_t handle, void* source, tmsize_t count) {
    TIFFStream& stream = streamOf(handle);
    if (!stream.buffer || count < 0)
        return failed;
    try { // no exception may pass through the C library
        const std::size_t end = stream.position + static_cast<std::size_t>(count);
        if (stream.buffer->size() < end)
            stream.buffer->resize(end);
    } catch (const std::bad_alloc&) {
        return failed;
    }
    if (count != 0)
        std::memcpy(stream.buffer->data() + stream.position, source, static_cast<std::size_t>(count));
    stream.position += static_cast<std::size_t>(count);
    return count;
}

toff_t seek(thandle_t handle, toff_t offset, int origin) {
    TIFFStream& stream = streamOf(handle);
    stream.position = offset + (origin == SEEK_CUR ? stream.position : origin == SEEK_END ? stream.size() : 0);
    return stream.position;
}

int closeNothing(thandle_t) {
    return 0;
}
toff_t streamSize(thandle_t handle) {
    return streamOf(handle).size();
}

// Without copies: the library reads strips and directories where they lie.
int mapView(thandle_t handle, void** base, toff_t* size) {
    TIFFStream& stream = streamOf(handle);
    if (stream.buffer)
        return 0;
    *base = const_cast<std::uint8_t*>(stream.view.data()); // it reads only: the mode is "r"
    *size = stream.view.size();
    return 1;
}
void unmapNothing(thandle_t, void*, toff_t) {}

int ignoreMessage(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

} // namespace

void TIFFCloser::operator()(tiff* handle) const {
    TIFFClose(handle);
}

TIFFHandle openTIFF(TIFFStream& stream, std::size_t largestAllocation) {
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                   &TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), ignoreMessage, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignoreMessage, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(largestAllocation));
    return TIFFHandle(TIFFClientOpenExt("image", stream.buffer ? "w" : "r", &stream, readBytes, writeBytes, seek,
                                        closeNothing, streamSize, mapView, unmapNothing, options.get()));
}

} // namespace platform
