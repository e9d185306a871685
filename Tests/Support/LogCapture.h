// The shared logger's messages while this object lives, and standard error, where the system log's lines show up too.
#pragma once

#include "LogFile.h"

#include <gtest/gtest.h>

namespace testing_support {

class LogCapture : public LogFile {
public:
    LogCapture() { testing::internal::CaptureStderr(); }
    ~LogCapture() {
        if (capturing_)
            testing::internal::GetCapturedStderr();
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // What the system log got; ends the capture of standard error.
    [[nodiscard]] std::string systemLog() {
        capturing_ = false;
        return testing::internal::GetCapturedStderr();
    }

private:
    bool capturing_ = true;
};

} // namespace testing_support
