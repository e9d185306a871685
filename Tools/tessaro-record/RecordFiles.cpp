#include "RecordFiles.h"

#include "TerminalText.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace tessaro_record {

using platform::Data;
using platform::DataView;
using platform::NSError;
using platform::NSErrorPointer;

namespace {

struct CloseFile {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

void fail(NSErrorPointer error, const std::string& what, int code) {
    const std::string reason =
        platform::lossyUTF8String(NSError(platform::NSPOSIXErrorDomain, code).localizedDescription());
    const std::string text = terminalText(platform::charactersAsBytes(what)) + ": " + reason;
    if (error != nullptr)
        *error = NSError(platform::NSPOSIXErrorDomain, code, platform::stringWithUTF8OrLatin1(text));
}

// The mode that a newly made file gets from the user's mask.
mode_t permissions() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// Written beside its place under a name of its own and then moved there: 0, or the error's number.
int writeFile(const std::filesystem::path& place, DataView bytes) {
    std::string temporary = place.string() + ".XXXXXX";
    const int descriptor = mkstemp(temporary.data());
    if (descriptor < 0)
        return errno;
    const bool permitted = fchmod(descriptor, permissions()) == 0;
    std::FILE* stream = fdopen(descriptor, "wb");
    const bool written = stream != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
    int problem = permitted && written ? 0 : errno;
    if (stream == nullptr)
        close(descriptor);
    else if (std::fclose(stream) != 0 && problem == 0)
        problem = errno;
    if (problem == 0 && std::rename(temporary.c_str(), place.c_str()) != 0)
        problem = errno;
    if (problem != 0)
        unlink(temporary.c_str());
    return problem;
}

std::optional<Data> fileBytes(const ImageReport& image, ImageFormat format) {
    if (image.isMissing())
        return std::nullopt;
    if (format == ImageFormat::TIFF)
        return Data(image.bytes.begin(), image.bytes.end());
    if (image.isDamaged())
        return std::nullopt;
    return image.pages.front().representationUsingType_properties(platform::NSPNGFileType, std::nullopt);
}

} // namespace

std::optional<Data> readStream(const std::string& file, NSErrorPointer error) {
    const std::string name = file.empty() ? "standard input" : file;
    File opened(file.empty() ? nullptr : std::fopen(file.c_str(), "rbe"));
    if (!file.empty() && !opened) {
        fail(error, name, errno);
        return std::nullopt;
    }
    std::FILE* stream = file.empty() ? stdin : opened.get();
    Data bytes;
    std::size_t length = 0;
    while (length <= maximumStreamLength) {
        bytes.resize(std::max<std::size_t>(std::size_t{1} << 16, 2 * length));
        length += std::fread(bytes.data() + length, 1, bytes.size() - length, stream);
        if (length < bytes.size())
            break;
    }
    if (std::ferror(stream) != 0 || length > maximumStreamLength) {
        fail(error, name, length > maximumStreamLength ? EFBIG : errno);
        return std::nullopt;
    }
    bytes.resize(length);
    return bytes;
}

bool writeImages(RecordReport& report, const std::string& folder, ImageFormat format, NSErrorPointer error) {
    std::error_code problem;
    std::filesystem::create_directories(folder, problem);
    if (problem) {
        fail(error, folder, problem.value());
        return false;
    }
    for (ImageReport& image : report.images) {
        const auto bytes = fileBytes(image, format);
        if (!bytes)
            continue;
        const auto place =
            std::filesystem::path(folder) / (std::string(image.name) + (format == ImageFormat::PNG ? ".png" : ".tiff"));
        if (const int code = writeFile(place, *bytes); code != 0) {
            fail(error, place.string(), code);
            return false;
        }
        image.file = place.string();
    }
    return true;
}

} // namespace tessaro_record
