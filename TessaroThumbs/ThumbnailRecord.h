// The thumbnail record: what a successful run leaves on standard output, and the one reader of it.
//
// docs/record-format.md describes the bytes. A record has neither checksum nor trailer: its end is the end of the
// stream, so the reader wants all of it at once and refuses every byte that its lengths do not account for.
// Lengths and offsets are bytes. Any thread; a stream belongs to its caller.
#pragma once

#include "Foundation/NSError.h"

#include <cstdio>

namespace tessaro {

inline constexpr std::string_view thumbnailRecordMagic = "CCAAFFEE";
inline constexpr std::size_t thumbnailRecordHeadLength = 24;

// The parts of a record, in its order. They are views of the bytes that were read; a missing part is empty.
struct ThumbnailRecord {
    platform::DataView identifier; // UTF-8 by convention, not checked: the writer copies what it was given
    platform::DataView large;      // TIFF
    platform::DataView medium;     // TIFF
    platform::DataView small;      // TIFF
};

inline constexpr platform::StringView ThumbnailRecordErrorDomain = u"ThumbnailRecordErrorDomain";
enum ThumbnailRecordErrorCode : int {
    ThumbnailRecordEmpty = 1,    // no byte at all: the run ended without a record
    ThumbnailRecordCutShort = 2, // fewer bytes than the head has
    ThumbnailRecordNoMagic = 3,  // something else stands where the record should begin
    ThumbnailRecordPastEnd = 4,  // a part reaches past the last byte
    ThumbnailRecordTrailing = 5, // bytes behind the last part
};

// Writes the record: every field by its own fwrite, an empty part by none. Results are not checked, for the reader
// alone can tell whether a record arrived whole. The stream is neither flushed nor closed.
void writeThumbnailRecord(std::FILE* stream, platform::DataView identifier, platform::DataView large,
                          platform::DataView medium, platform::DataView small);

// The record that `bytes` consists of, from the first byte to the last; absent, with an error, when it is malformed.
[[nodiscard]] std::optional<ThumbnailRecord> readThumbnailRecord(platform::DataView bytes,
                                                                 platform::NSErrorPointer error);

// The offset of the record that ends `stream`, which log lines may precede; absent when there is no whole record.
// Of several candidates the first one counts: what lies inside a record's parts is the page's, not ours.
[[nodiscard]] std::optional<std::size_t> findThumbnailRecord(platform::DataView stream);

} // namespace tessaro
