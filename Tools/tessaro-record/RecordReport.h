// What is in a record, for people and for programs.
#pragma once

#include "AppKit/NSBitmapImageRep.h"
#include "TessaroThumbs/ThumbnailRecord.h"

namespace tessaro_record {

// One image of a record, decoded.
struct ImageReport {
    const char* name; // "large", "medium" or "small"
    platform::DataView bytes;
    std::vector<platform::NSBitmapImageRep> pages; // none for a missing image and for one that cannot be decoded
    std::string file;                              // where it was written; empty when it was not

    [[nodiscard]] bool isMissing() const { return bytes.empty(); }
    [[nodiscard]] bool isDamaged() const { return !isMissing() && pages.empty(); }
};

struct RecordReport {
    platform::DataView identifier;
    std::vector<ImageReport> images; // large, medium, small
    std::size_t skipped = 0;         // bytes of log lines in front of the record
};

// Decodes the images. Only TIFF counts as one, whatever else could be decoded. The report refers to the record's bytes.
[[nodiscard]] RecordReport reportOf(const tessaro::ThumbnailRecord& record, std::size_t skipped);

// Lines for people; a long identifier is cut.
[[nodiscard]] std::string tableOf(const RecordReport& report);
// One JSON object and a line end. An identifier that is no UTF-8 is null there and stands in "identifierHex".
[[nodiscard]] std::string JSONOf(const RecordReport& report);

} // namespace tessaro_record
