// Where failed assertions (programming errors of a caller) go. The default handler throws NSException; an application
// or a test may put its own in place, and if that returns, the operation that failed its check goes on.
#pragma once

#include "NSString.h"

#include <memory>

namespace platform {

inline constexpr StringView NSInternalInconsistencyException = u"NSInternalInconsistencyException";

class NSAssertionHandler {
public:
    virtual ~NSAssertionHandler() = default;

    // `object` views the bytes of the byte buffer whose operation failed, for the duration of the call. The default
    // throws NSException(NSInternalInconsistencyException, description).
    virtual void handleFailureInMethod_object_file_lineNumber_description(StringView method, DataView object,
                                                                          StringView file, int lineNumber,
                                                                          StringView description);

    // The calling thread's handler, never null.
    [[nodiscard]] static std::shared_ptr<NSAssertionHandler> currentHandler();
    // Puts a handler in place for the calling thread; null brings the default back.
    static void setCurrentHandler(std::shared_ptr<NSAssertionHandler> handler);
};

} // namespace platform
