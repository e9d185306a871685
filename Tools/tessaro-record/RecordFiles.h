// Records in, image files out.
#pragma once

#include "Foundation/NSError.h"
#include "Options.h"
#include "RecordReport.h"

namespace tessaro_record {

// More than any run of the helper writes; a stream that goes on beyond it is not a record.
inline constexpr std::size_t maximumStreamLength = std::size_t{1} << 30;

// All bytes of a file, or of standard input for an empty name. Absent, with an error, when it cannot be read or has
// more than maximumStreamLength bytes.
[[nodiscard]] std::optional<platform::Data> readStream(const std::string& file, platform::NSErrorPointer error);

// Writes each image that is there to `folder`/<name>.<format> and notes the place in the report. The names never come
// from the record. A file appears whole or not at all; one of that name, or a link, is replaced. Images that cannot be
// decoded are written as TIFF and left out as PNG. False, with an error, when a file cannot be written.
[[nodiscard]] bool writeImages(RecordReport& report, const std::string& folder, ImageFormat format,
                               platform::NSErrorPointer error);

} // namespace tessaro_record
