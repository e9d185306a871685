// Fatal signals: caught on a stack of their own, handed to one callback, then let take their course.
//
// The program's policy on top of it, `enableCrashReporterAndReturnError`: a fatal signal, or an exception that nobody
// caught, ends the process at once and quietly with exit status 0, its exit handlers run. Registration happens once, on
// the main thread at launch; the alternate stack serves the registering thread only.
#pragma once

#include "Foundation/NSError.h"

#include <csignal>
#include <exception>
#include <memory>

namespace brimle {

// The deadly signal's number, its information, the interrupted thread's machine context, and the registered context.
using SignalHandlerCallback = void (*)(int signal, siginfo_t* info, void* machineContext, void* context);

// In the order of registration and of resetting.
inline constexpr int fatal_signals[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP};

class PLCrashSignalHandler {
public:
    // The shared instance, made at the first call; null when there was no memory for its stack.
    [[nodiscard]] static PLCrashSignalHandler* sharedHandler();

    // Installs the program's policy. False when a part of it could not be installed. Throws NSException when a callback
    // has been registered before.
    static bool enableCrashReporterAndReturnError(platform::NSErrorPointer error);

    // A handler with its stack allocated and nothing installed; null when there was no memory.
    [[nodiscard]] static std::unique_ptr<PLCrashSignalHandler> init();

    // False, with an error of NSPOSIXErrorDomain, when the signal's action could not be set. The old action is not
    // kept.
    bool registerHandlerForSignal_error(int signal, platform::NSErrorPointer error);

    // Installs the stack and all fatal signals. Once in a process: a second call throws NSException, also when the
    // first failed. False without an error when the stack could not be installed, with one when a signal could not;
    // signals before that one stay installed.
    bool registerHandlerWithCallback_context_error(SignalHandlerCallback callback, void* context,
                                                   platform::NSErrorPointer error);

private:
    PLCrashSignalHandler() = default;
    static void initialize();
    static void initializeOnce();
    [[nodiscard]] static std::unique_ptr<PLCrashSignalHandler> make();

    stack_t _sigstk{}; // never freed: a signal may come at any time
};

// The signal action: default actions back for all, the callback, and the signal once more.
void fatal_signal_handler(int signal, siginfo_t* info, void* machineContext);

// The program's policy. Both end the process within a second with status 0.
[[noreturn]] void signal_handler_callback(int signal, siginfo_t* info, void* machineContext, void* context);
[[noreturn]] void uncaught_exception_handler(const std::exception_ptr& exception);

// The system calls of registration, replaceable to make them fail.
struct SignalSystemCalls {
    int (*sigaltstack)(const stack_t* stack, stack_t* old);
    int (*sigaction)(int signal, const struct sigaction* action, struct sigaction* old);
    void* (*malloc)(std::size_t size);
};
extern SignalSystemCalls signalSystemCalls;

} // namespace brimle
