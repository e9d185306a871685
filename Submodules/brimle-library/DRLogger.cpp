#include "brimle/DRLogger.h"

#include "Foundation/NSFileManager.h"
#include "Foundation/StandardOutput.h"

#include <array>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace brimle {
namespace {

// Names once given stay alive to the end of the process: callers compare names by object and may hold on to an old one.
void keepForever(std::shared_ptr<const String> name) {
    static auto* kept = new std::vector<std::shared_ptr<const String>>;
    kept->push_back(std::move(name));
}

// The same object where there is nothing to expand.
std::shared_ptr<const String> expanded(const std::shared_ptr<const String>& path) {
    String text = platform::stringByExpandingTildeInPath(*path);
    return text == *path ? path : std::make_shared<const String>(std::move(text));
}

// A log that is a named pipe must not hold the application up: without a reader it cannot be opened, and what a full
// one does not take is lost. Files do not know the difference. No child process inherits the stream.
std::FILE* openForAppending(const char* path) {
    constexpr mode_t anybodyLessMask = 0666;
    const int file = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, anybodyLessMask);
    std::FILE* stream = file >= 0 ? ::fdopen(file, "a") : nullptr;
    if (!stream && file >= 0)
        ::close(file);
    return stream;
}

} // namespace

std::shared_ptr<const String> DRLogger::__logFileName;
std::shared_ptr<DRLogger> DRLogger::__drlogger;

DRLogger::~DRLogger() {
    platform::NSNotificationCenter::defaultCenter().removeObserver(this);
    closeLogFile();
}

void DRLogger::setFileName(std::shared_ptr<const String> fileName) {
    if (fileName == __logFileName)
        return;
    keepForever(fileName);
    __logFileName = std::move(fileName);
    if (__drlogger)
        __drlogger->openLogFile(__logFileName);
}

std::shared_ptr<DRLogger> DRLogger::logger() {
    if (!__drlogger) {
        [[maybe_unused]] static const int registered = std::atexit(shutdownLogger);
        __drlogger = std::make_shared<DRLogger>();
        __drlogger->openLogFile(__logFileName);
    }
    return __drlogger;
}

void DRLogger::shutdown() {
    __drlogger.reset();
}

void DRLogger::openLogFile(const std::shared_ptr<const String>& path) {
    if (filename == path)
        return;
    closeLogFile();
    output = platform::standardOutput();
    if (path)
        filename = expanded(path);
    if (filename && !filename->empty()) {
        std::optional<platform::NSError> error;
        platform::NSFileManager().createDirectoryAtPath_withIntermediateDirectories_error(
            platform::stringByDeletingLastPathComponent(*filename), true, &error);
        if (error) {
            platform::NSLog("Failed to create directory for '%@': %@", *filename, *error);
        } else {
            const auto bytes = platform::UTF8String(*filename);
            output = bytes ? openForAppending(bytes->c_str()) : nullptr;
        }
    }
    log("== Opening log session ==");
}

void DRLogger::closeLogFile() {
    if (filename && !filename->empty() && output) {
        // After a directory failure `output` is standard output, and it is closed like any other stream: nothing may
        // follow on it once its log session ended.
        const int result = platform::closeStream(output);
        output = nullptr;
        if (result != 0)
            platform::NSLog("Failed to close the log file: %@", *filename);
    }
    filename.reset();
}

void DRLogger::logMessage(StringView message) {
    const std::time_t now = std::time(nullptr);
    std::array<char, 32> when{};
    ctime_r(&now, when.data());
    constexpr std::size_t newline = 24;
    when[newline] = '\0';
    std::FILE* stream = output && !platform::isStandardOutput(output) ? output : platform::standardOutput();
    if (!stream)
        return; // standard output is what lines go to, and it has had its end
    // One formatted write a line: other processes append to the same file.
    std::fprintf(stream, "[%s] %s| %s\n", TESSARO_BUILD_NUMBER, when.data(),
                 platform::lossyUTF8String(message).c_str());
    std::fflush(stream);
}

void DRLogger::logException_file_line(const platform::NSException& exception, const char* file, int line) {
    const auto text = [&] {
        String frames;
        StringView separator;
        for (const String& frame : exception.callStackSymbols()) {
            frames.append(separator).append(frame);
            separator = u"\n\t";
        }
        return platform::stringWithFormat("Exception caught in (%s:%d): %@\n\t%@", file, line, exception, frames);
    };
    platform::NSLog("%@", text());
    log("%@", text());
}

void DRLogger::appWillTerminate(const platform::NSNotification&) {
    log("== Application will terminate ==");
}

void shutdownLogger() {
    DRLogger::shutdown();
}

} // namespace brimle
