#include "NSBitmapImageRep.h"

#include "ImageDecoding.h"

namespace platform {

NSBitmapImageRep::NSBitmapImageRep(int wide, int high)
    : NSImageRep(wide, high), pixels_(static_cast<std::size_t>(wide) * static_cast<std::size_t>(high)) {}

std::optional<NSBitmapImageRep> NSBitmapImageRep::imageRepWithData(DataView data) {
    auto representations = decodeImage(data);
    if (representations.empty())
        return std::nullopt;
    return std::move(representations.front());
}

} // namespace platform
