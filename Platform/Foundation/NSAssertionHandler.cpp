#include "NSAssertionHandler.h"

#include "NSException.h"

namespace platform {
namespace {

std::shared_ptr<NSAssertionHandler>& handlerOfThread() {
    thread_local auto handler = std::make_shared<NSAssertionHandler>();
    return handler;
}

} // namespace

void NSAssertionHandler::handleFailureInMethod_object_file_lineNumber_description(StringView, DataView, StringView, int,
                                                                                  StringView description) {
    throw NSException(NSInternalInconsistencyException, description);
}

std::shared_ptr<NSAssertionHandler> NSAssertionHandler::currentHandler() {
    return handlerOfThread();
}

void NSAssertionHandler::setCurrentHandler(std::shared_ptr<NSAssertionHandler> handler) {
    handlerOfThread() = handler ? std::move(handler) : std::make_shared<NSAssertionHandler>();
}

} // namespace platform
