#include "Foundation/NSAssertionHandler.h"
#include "Foundation/NSException.h"

#include <gtest/gtest.h>
#include <thread>

namespace platform {
namespace {

struct RecordingHandler : NSAssertionHandler {
    int failures = 0;
    String last;
    void handleFailureInMethod_object_file_lineNumber_description(StringView method, DataView object, StringView file,
                                                                  int lineNumber, StringView description) override {
        ++failures;
        last = String(method) + u"|" + static_cast<char16_t>(u'0' + object.size()) + u"|" + String(file) + u"|" +
               static_cast<char16_t>(u'0' + lineNumber) + u"|" + String(description);
    }
};

void fail() {
    const Data object{1, 2, 3};
    NSAssertionHandler::currentHandler()->handleFailureInMethod_object_file_lineNumber_description(
        u"method", object, u"file", 7, u"what failed");
}

TEST(NSAssertionHandler, ThrowsByDefault) {
    try {
        fail();
        FAIL() << "no exception";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), u"NSInternalInconsistencyException");
        EXPECT_EQ(exception.reason(), u"what failed");
    }
}

TEST(NSAssertionHandler, IsReplacedForOneThread) {
    const auto handler = std::make_shared<RecordingHandler>();
    NSAssertionHandler::setCurrentHandler(handler);
    EXPECT_EQ(NSAssertionHandler::currentHandler(), handler);
    fail();
    EXPECT_EQ(handler->failures, 1);
    EXPECT_EQ(handler->last, u"method|3|file|7|what failed");
    std::thread([] { EXPECT_THROW(fail(), NSException); }).join();
    EXPECT_EQ(handler->failures, 1);
    NSAssertionHandler::setCurrentHandler(nullptr);
    EXPECT_THROW(fail(), NSException);
}

} // namespace
} // namespace platform
