// The process-wide diagnostic log: time-stamped lines appended to one file, each flushed as soon as it is written.
//
// A line is "[<build number>] <local time>| <message in UTF-8>\n". While no file is open, lines go to standard output.
// Nothing here fails towards its caller. No locks: one thread (the main thread) at a time.
#pragma once

#include "Foundation/NSException.h"
#include "Foundation/NSFormat.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSNotificationCenter.h"

#include <cstdio>
#include <memory>

namespace brimle {

using platform::CheckedFormat;
using platform::String;
using platform::StringView;

class DRLogger {
public:
    DRLogger() = default;
    ~DRLogger();
    DRLogger(const DRLogger&) = delete;
    DRLogger& operator=(const DRLogger&) = delete;

    // Names the log file ("~" allowed). The file is opened by the first `logger`; a logger that exists reopens at once.
    // Names are compared by object: the same object twice does nothing, an equal text in another object reopens.
    static void setFileName(std::shared_ptr<const String> fileName);
    // The shared logger, made at first use.
    [[nodiscard]] static std::shared_ptr<DRLogger> logger();
    // Lets go of the shared logger, which closes its file. The recorded name stays: the next `logger` opens it again.
    static void shutdown();

    void openLogFile(const std::shared_ptr<const String>& path);
    void closeLogFile();

    // Writes a message that is ready as it stands. The primitive behind every other operation.
    void logMessage(StringView message);

    // To the log file only.
    template <class... Arguments>
    void log(CheckedFormat<std::type_identity_t<Arguments>...> format, const Arguments&... arguments) {
        logMessage(platform::stringWithFormat<Arguments...>(format, arguments...));
    }
    // To the system log first, then to the log file.
    template <class... Arguments>
    void log2(CheckedFormat<std::type_identity_t<Arguments>...> format, const Arguments&... arguments) {
        platform::NSLogMessage(platform::stringWithFormat<Arguments...>(format, arguments...));
        logMessage(platform::stringWithFormat<Arguments...>(format, arguments...));
    }

    template <class Object, class Other>
    void logEnter_cmd(const Object& object, const Other& command) {
        log("%@ > %@", object, command);
    }
    template <class Object>
    void logAt_cmd(const Object& object, const char* command) {
        log("%@ - %s", object, command);
    }
    template <class Object, class Other>
    void logReturn_cmd(const Object& object, const Other& command) {
        log("%@ < %@", object, command);
    }
    // The exception with its call stack, one tab-indented line a frame: to the system log, then to the log file.
    void logException_file_line(const platform::NSException& exception, const char* file, int line);
    // Offered to clients that register it for the application's will-terminate notification.
    void appWillTerminate(const platform::NSNotification& notification);

    // The open log file, standard output, or null (then lines go to standard output).
    std::FILE* output = nullptr;
    // The expanded path as last opened; null when closed.
    std::shared_ptr<const String> filename;

private:
    static std::shared_ptr<const String> __logFileName;
    static std::shared_ptr<DRLogger> __drlogger;
};

// Runs once when the process exits normally: the first `logger` registers it.
void shutdownLogger();

} // namespace brimle
