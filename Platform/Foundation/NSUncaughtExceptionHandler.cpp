#include "NSUncaughtExceptionHandler.h"

#include <atomic>
#include <cstdlib>

namespace platform {
namespace {

std::atomic<NSUncaughtExceptionHandler*> uncaughtExceptionHandler = nullptr;

[[noreturn]] void terminate() {
    if (NSUncaughtExceptionHandler* handler = uncaughtExceptionHandler)
        handler(std::current_exception());
    std::abort();
}

} // namespace

void NSSetUncaughtExceptionHandler(NSUncaughtExceptionHandler* handler) {
    uncaughtExceptionHandler = handler;
    std::set_terminate(terminate);
}

NSUncaughtExceptionHandler* NSGetUncaughtExceptionHandler() {
    return uncaughtExceptionHandler;
}

} // namespace platform
