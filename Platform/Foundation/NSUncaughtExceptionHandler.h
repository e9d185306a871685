// The process's hook for an exception that nobody caught, whatever its type.
//
// It also sees the other ways into std::terminate, among them an exception that leaves a noexcept function or a
// callback below a C library's frames. Set once at launch, on the main thread; called on the thread that threw.
#pragma once

#include <exception>

namespace platform {

// The exception is null when std::terminate was called without one. A handler that returns ends the process by
// std::abort.
using NSUncaughtExceptionHandler = void(const std::exception_ptr& exception);

void NSSetUncaughtExceptionHandler(NSUncaughtExceptionHandler* handler);
[[nodiscard]] NSUncaughtExceptionHandler* NSGetUncaughtExceptionHandler();

} // namespace platform
