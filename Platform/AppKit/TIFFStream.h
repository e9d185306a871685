// A byte buffer that the TIFF library reads and writes as if it were a file, and the library's own kind of handle.
#pragma once

#include "Foundation/NSString.h"

#include <cstddef>
#include <memory>

struct tiff;

namespace platform {

struct TIFFCloser {
    void operator()(tiff* handle) const;
};
using TIFFHandle = std::unique_ptr<tiff, TIFFCloser>;

// What the handle reads from (view) or writes to (buffer). It stays where it is until the handle is closed.
struct TIFFStream {
    DataView view;
    Data* buffer = nullptr;
    std::uint64_t position = 0;

    [[nodiscard]] std::size_t size() const { return buffer ? buffer->size() : view.size(); }
};

// Messages of the library go nowhere; one allocation is at most `largestAllocation` bytes (0: any).
[[nodiscard]] TIFFHandle openTIFF(TIFFStream& stream, std::size_t largestAllocation);

} // namespace platform
