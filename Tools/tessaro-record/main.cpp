// tessaro-record: the thumbnail record for people and for other programs. What it does stands in Options.cpp.
#include "Options.h"
#include "RecordFiles.h"
#include "RecordReport.h"

#include <cstdio>
#include <unistd.h>

namespace {

using namespace tessaro_record;
using platform::DataView;
using platform::NSError;

constexpr int success = 0;
constexpr int failure = 1;
constexpr int wrongUsage = 2;

void complain(const std::string& text) {
    std::fprintf(stderr, "tessaro-record: %s\n", text.c_str());
}

void complain(const std::optional<NSError>& error) {
    complain(platform::lossyUTF8String(error ? error->localizedDescription() : u"unknown error"));
}

// Where the record begins: at once, or behind log lines when these may be skipped.
std::optional<std::size_t> beginOfRecord(DataView stream, bool skipLog) {
    std::optional<NSError> error;
    if (tessaro::readThumbnailRecord(stream, &error))
        return 0;
    const auto found = tessaro::findThumbnailRecord(stream);
    if (found && skipLog)
        return found;
    if (found)
        complain("log lines (" + std::to_string(*found) +
                 " bytes) stand in front of the record; --skip-log accepts them");
    else if (skipLog && error->code() == tessaro::ThumbnailRecordNoMagic)
        complain("there is no whole record in these " + std::to_string(stream.size()) + " bytes");
    else
        complain(error);
    return std::nullopt;
}

int damagedImages(const RecordReport& report) {
    int status = success;
    for (const ImageReport& image : report.images)
        if (image.isDamaged()) {
            complain(std::string("the ") + image.name + " image is no TIFF picture that can be read");
            status = failure;
        }
    return status;
}

int run(const Options& options) {
    std::optional<NSError> error;
    const auto stream = readStream(options.file, &error);
    if (!stream) {
        complain(error);
        return failure;
    }
    const auto begin = beginOfRecord(*stream, options.skipLog);
    if (!begin)
        return failure;
    const auto record = tessaro::readThumbnailRecord(DataView(*stream).subspan(*begin), &error);
    if (!record) {
        complain(error);
        return failure;
    }
    RecordReport report = reportOf(*record, *begin);
    if (*begin > 0)
        complain("skipped " + std::to_string(*begin) + " bytes of log lines in front of the record");
    if (options.folder && !writeImages(report, *options.folder, options.format, &error)) {
        complain(error);
        return failure;
    }
    const std::string text = options.json ? JSONOf(report) : tableOf(report);
    std::fputs(text.c_str(), stdout);
    if (std::fflush(stdout) != 0) {
        complain("the output could not be written");
        return failure;
    }
    return damagedImages(report);
}

} // namespace

int main(int count, char** words) {
    const auto parsed = parseOptions({words + 1, static_cast<std::size_t>(count > 0 ? count - 1 : 0)});
    if (const auto* wrong = std::get_if<UsageError>(&parsed)) {
        complain(wrong->message + "\nTry tessaro-record --help.");
        return wrongUsage;
    }
    const auto& options = std::get<Options>(parsed);
    if (options.help) {
        std::fputs(usage(), stdout);
        return success;
    }
    if (options.version) {
        std::puts("tessaro-record " TESSARO_VERSION);
        return success;
    }
    if (options.file.empty() && isatty(STDIN_FILENO) != 0) {
        complain("there is no record on a terminal; give a file or a pipe.\nTry tessaro-record --help.");
        return wrongUsage;
    }
    return run(options);
}
