#include "ThumbnailRecord.h"

#include "Foundation/NSFormat.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tessaro {

using platform::CheckedFormat;
using platform::DataView;
using platform::NSError;
using platform::NSErrorPointer;
using platform::stringWithFormat;

namespace {

constexpr std::size_t lengthWidth = 4;
constexpr std::array<const char*, 4> partNames = {"identifier", "large image", "medium image", "small image"};

void writeLength(std::FILE* stream, std::size_t length) {
    // The field is 32 bits wide on every machine; a longer part is written whole all the same.
    const auto value = static_cast<std::uint32_t>(length);
    std::array<std::uint8_t, lengthWidth> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
}

// REQUIRES: four bytes at `offset`.
std::uint64_t readLength(DataView bytes, std::size_t offset) {
    std::uint64_t value = 0;
    for (std::size_t i = lengthWidth; i > 0; --i)
        value = value << 8 | bytes[offset + i - 1];
    return value;
}

// Words cost time, so they are made only for a caller who asks: a search refuses many candidates.
template <class... Arguments>
std::nullopt_t refuse(NSErrorPointer error, ThumbnailRecordErrorCode code,
                      CheckedFormat<std::type_identity_t<Arguments>...> text, const Arguments&... arguments) {
    if (error != nullptr)
        *error = NSError(ThumbnailRecordErrorDomain, code, stringWithFormat<Arguments...>(text, arguments...));
    return std::nullopt;
}

} // namespace

void writeThumbnailRecord(std::FILE* stream, DataView identifier, DataView large, DataView medium, DataView small) {
    const std::array<DataView, 4> parts = {identifier, large, medium, small};
    std::fwrite(thumbnailRecordMagic.data(), 1, thumbnailRecordMagic.size(), stream);
    for (const DataView part : parts)
        writeLength(stream, part.size());
    for (const DataView part : parts)
        if (!part.empty())
            std::fwrite(part.data(), 1, part.size(), stream);
}

std::optional<ThumbnailRecord> readThumbnailRecord(DataView bytes, NSErrorPointer error) {
    if (bytes.empty())
        return refuse(error, ThumbnailRecordEmpty, "there is no record: the stream is empty");
    const std::size_t compared = std::min(bytes.size(), thumbnailRecordMagic.size());
    if (std::memcmp(bytes.data(), thumbnailRecordMagic.data(), compared) != 0)
        return refuse(error, ThumbnailRecordNoMagic, "this is not a record: it does not begin with CCAAFFEE");
    if (bytes.size() < thumbnailRecordHeadLength)
        return refuse(error, ThumbnailRecordCutShort,
                      "the record is cut short: its head has 24 bytes, only %zu are here", bytes.size());
    std::array<DataView, partNames.size()> parts;
    // Offsets are 64 bits wide: four lengths can add up to more than 32 bits hold.
    std::uint64_t offset = thumbnailRecordHeadLength;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const std::uint64_t length = readLength(bytes, thumbnailRecordMagic.size() + lengthWidth * i);
        if (length > bytes.size() - offset)
            return refuse(error, ThumbnailRecordPastEnd,
                          "the %s reaches past the end: %llu bytes from offset %llu on, but the last byte stands at "
                          "offset %zu",
                          partNames[i], length, offset, bytes.size() - 1);
        parts[i] = bytes.subspan(offset, length);
        offset += length;
    }
    if (offset != bytes.size())
        return refuse(error, ThumbnailRecordTrailing,
                      "bytes follow the record: it ends at offset %llu, the stream at offset %zu", offset,
                      bytes.size());
    return ThumbnailRecord{parts[0], parts[1], parts[2], parts[3]};
}

std::optional<std::size_t> findThumbnailRecord(DataView stream) {
    const std::string_view text = platform::bytesAsCharacters(stream);
    for (std::size_t at = text.find(thumbnailRecordMagic); at != std::string_view::npos;
         at = text.find(thumbnailRecordMagic, at + 1))
        if (readThumbnailRecord(stream.subspan(at), nullptr))
            return at;
    return std::nullopt;
}

} // namespace tessaro
