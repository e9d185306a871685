// The log in a file of the test's own, and what was logged since.
#pragma once

#include "TemporaryFolder.h"

#include "brimle/DRLogger.h"

#include <vector>

namespace testing_support {

// The messages in a log's text, in UTF-8, each as it was given (with its own line feeds).
[[nodiscard]] inline std::vector<std::string> messagesOfLog(const std::string& text) {
    std::vector<std::string> found;
    constexpr std::string_view mark = "[31043] ";
    constexpr std::size_t head = mark.size() + 24 + 2; // the time, "| "
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t next = text.find("\n" + std::string(mark), at);
        const std::size_t end = next == std::string::npos ? text.size() - 1 : next;
        found.push_back(text.substr(at + head, end - at - head));
        at = end + 1;
    }
    return found;
}

class LogFile {
public:
    LogFile() {
        using platform::String;
        brimle::DRLogger::shutdown();
        brimle::DRLogger::setFileName(std::make_shared<const String>((folder_ / "log").u16string()));
        static_cast<void>(brimle::DRLogger::logger());
    }
    ~LogFile() {
        brimle::DRLogger::shutdown();
        brimle::DRLogger::setFileName(nullptr);
    }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // The messages without the line that opens the log.
    [[nodiscard]] std::vector<std::string> messages() const {
        std::vector<std::string> found = messagesOfLog(contentsOf(folder_ / "log"));
        found.erase(found.begin());
        return found;
    }

private:
    TemporaryFolder folder_;
};

} // namespace testing_support
