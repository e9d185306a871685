// The shared logger's messages while this object lives: a log file of the test's own, and standard error, where the
// system log's lines show up too.
#pragma once

#include "Tests/Support/TemporaryFolder.h"

#include "brimle/DRLogger.h"

#include <gtest/gtest.h>
#include <sstream>

namespace testing_support {

class LogCapture {
public:
    LogCapture() {
        brimle::DRLogger::setFileName(
            std::make_shared<const platform::String>(platform::stringWithUTF8OrLatin1(file().string())));
        (void)brimle::DRLogger::logger();
        skipped_ = lines().size(); // the opening line
        testing::internal::CaptureStderr();
    }
    ~LogCapture() {
        if (capturing_)
            testing::internal::GetCapturedStderr();
        brimle::DRLogger::shutdown();
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The messages written to the log file so far, without build number and time.
    [[nodiscard]] std::vector<std::string> messages() const {
        std::vector<std::string> all = lines();
        all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(skipped_));
        for (std::string& line : all)
            line.erase(0, line.find("| ") + 2);
        return all;
    }
    // What the system log got; ends the capture of standard error.
    [[nodiscard]] std::string systemLog() {
        capturing_ = false;
        return testing::internal::GetCapturedStderr();
    }

private:
    [[nodiscard]] std::filesystem::path file() const { return folder_ / "test.log"; }
    [[nodiscard]] std::vector<std::string> lines() const {
        std::istringstream text(contentsOf(file()));
        std::vector<std::string> all;
        for (std::string line; std::getline(text, line);)
            all.push_back(line);
        return all;
    }

    TemporaryFolder folder_;
    std::size_t skipped_ = 0;
    bool capturing_ = true;
};

} // namespace testing_support
