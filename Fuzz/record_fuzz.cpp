// Reading a record: whatever is accepted must be written back as the same bytes, and a search must agree with reading.
#include "TessaroThumbs/ThumbnailRecord.h"

#include <cstdlib>
#include <cstring>

using namespace tessaro;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

void requireSameBytes(const ThumbnailRecord& record, platform::DataView bytes) {
    char* buffer = nullptr;
    std::size_t length = 0;
    std::FILE* stream = open_memstream(&buffer, &length);
    writeThumbnailRecord(stream, record.identifier, record.large, record.medium, record.small);
    std::fclose(stream);
    require(length == bytes.size() && std::memcmp(buffer, bytes.data(), length) == 0);
    std::free(buffer);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const platform::DataView bytes(data, size);
    std::optional<platform::NSError> error;
    const auto record = readThumbnailRecord(bytes, &error);
    require(record.has_value() != error.has_value());
    if (record)
        requireSameBytes(*record, bytes);
    const auto offset = findThumbnailRecord(bytes);
    require(!record || offset == 0u);
    if (offset)
        require(readThumbnailRecord(bytes.subspan(*offset), nullptr).has_value());
    return 0;
}
