#include "brimle/PLCrashSignalHandler.h"

#include "Foundation/NSException.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSUncaughtExceptionHandler.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/time.h>
#include <unistd.h>

namespace brimle {
namespace {

constexpr std::size_t signalStackBytes = 65536;

struct {
    bool registered;
    PLCrashSignalHandler* handler;
    SignalHandlerCallback callback;
    void* context;
} SharedHandlerContext;

// Its address is the context that the policy registers; nothing reads it.
int signal_handler_context;

// Before a call that does not return, AddressSanitizer's builds ask about the stack, through the allocator: not here,
// nor in what calls exitForCertain, before whose timer nothing ends a wait for a lock.
[[gnu::no_sanitize_address]] void endAtOnce(int) {
    _exit(0);
}

// exit(0), and an end within a second whatever happens.
//
// Exit handlers close the log and flush, which is why this is exit and not _exit although a signal handler has no right
// to call it: the interrupted code, or another thread, may hold the allocator's or a stream's lock, and then exit waits
// for ever (about one crash in ten of a busy process); or the handlers meet the very damage that raised the signal.
// So a timer is set first whose signal ends the process without further ado, and so does every fatal signal from here
// on. Everything before exit is a plain system call. The interrupted thread blocks the signal that it is handling and
// may block others, the alarm included; a blocked fault would kill the process, so all of them are unblocked.
[[noreturn, gnu::no_sanitize_address]] void exitForCertain() {
    struct sigaction action {};
    action.sa_handler = endAtOnce;
    action.sa_flags = SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    sigset_t deadly;
    sigemptyset(&deadly);
    sigaddset(&deadly, SIGALRM);
    sigaction(SIGALRM, &action, nullptr);
    for (const int signal : fatal_signals) {
        sigaddset(&deadly, signal);
        sigaction(signal, &action, nullptr);
    }
    constexpr timeval patience{0, 500'000};
    const itimerval timer{patience, patience};
    setitimer(ITIMER_REAL, &timer, nullptr);
    pthread_sigmask(SIG_UNBLOCK, &deadly, nullptr);
    std::exit(0);
}

} // namespace

SignalSystemCalls signalSystemCalls = {::sigaltstack, ::sigaction, std::malloc};

void PLCrashSignalHandler::initialize() {
    SharedHandlerContext = {};
    SharedHandlerContext.handler = make().release();
}

// Ahead of whatever the class is used for first: done later, it would forget a registration.
void PLCrashSignalHandler::initializeOnce() {
    [[maybe_unused]] static const bool initialized = (initialize(), true);
}

PLCrashSignalHandler* PLCrashSignalHandler::sharedHandler() {
    initializeOnce();
    return SharedHandlerContext.handler;
}

std::unique_ptr<PLCrashSignalHandler> PLCrashSignalHandler::init() {
    initializeOnce();
    return make();
}

std::unique_ptr<PLCrashSignalHandler> PLCrashSignalHandler::make() {
    std::unique_ptr<PLCrashSignalHandler> handler(new PLCrashSignalHandler);
    handler->_sigstk.ss_size = signalStackBytes;
    handler->_sigstk.ss_sp = signalSystemCalls.malloc(signalStackBytes);
    handler->_sigstk.ss_flags = 0;
    if (!handler->_sigstk.ss_sp)
        return nullptr;
    return handler;
}

bool PLCrashSignalHandler::registerHandlerForSignal_error(int signal, platform::NSErrorPointer error) {
    struct sigaction action {};
    action.sa_sigaction = fatal_signal_handler;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    if (signalSystemCalls.sigaction(signal, &action, nullptr) == 0)
        return true;
    const int code = errno;
    if (error)
        *error = platform::NSError(platform::NSPOSIXErrorDomain, code);
    platform::NSLog("Signal registration for %s failed: %s", static_cast<const char*>(strsignal(signal)),
                    static_cast<const char*>(strerror(code)));
    return false;
}

bool PLCrashSignalHandler::registerHandlerWithCallback_context_error(SignalHandlerCallback callback, void* context,
                                                                     platform::NSErrorPointer error) {
    if (SharedHandlerContext.registered)
        throw platform::NSException(u"", u"Signal handler has already been registered");
    SharedHandlerContext.registered = true;
    SharedHandlerContext.callback = callback;
    SharedHandlerContext.context = context;
    if (signalSystemCalls.sigaltstack(&_sigstk, nullptr) != 0)
        return false;
    for (const int signal : fatal_signals)
        if (!registerHandlerForSignal_error(signal, error))
            return false;
    return true;
}

bool PLCrashSignalHandler::enableCrashReporterAndReturnError(platform::NSErrorPointer error) {
    PLCrashSignalHandler* handler = sharedHandler();
    if (!handler ||
        !handler->registerHandlerWithCallback_context_error(signal_handler_callback, &signal_handler_context, error))
        return false;
    platform::NSSetUncaughtExceptionHandler(uncaught_exception_handler);
    return true;
}

void fatal_signal_handler(int signal, siginfo_t* info, void* machineContext) {
    // A second fault, and the signal raised below, end the process.
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (const int fatal : fatal_signals)
        sigaction(fatal, &action, nullptr);
    if (SharedHandlerContext.callback)
        SharedHandlerContext.callback(signal, info, machineContext, SharedHandlerContext.context);
    raise(signal);
}

[[gnu::no_sanitize_address]] void signal_handler_callback(int, siginfo_t*, void*, void*) {
    exitForCertain();
}

[[gnu::no_sanitize_address]] void uncaught_exception_handler(const std::exception_ptr&) {
    exitForCertain();
}

} // namespace brimle
