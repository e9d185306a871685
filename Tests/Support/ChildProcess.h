// A function run in a child process of the test's own, for what ends processes.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>

namespace testing_support {

struct ChildEnd {
    bool hung = false;                 // it had to be killed at the limit
    int exitStatus = -1;               // -1 when a signal ended it
    int signal = 0;                    // that signal
    std::chrono::milliseconds time{0}; // from the last signal sent, or from the start, to the end
    std::string output;
    std::string errorOutput;
};

class ChildProcess {
public:
    // The status of a child whose function returned.
    static constexpr int returned = 99;

    explicit ChildProcess(const std::function<void()>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Called in the child, and awaited by the parent.
    static void sayReady();
    void waitUntilReady() const;

    void sendSignal(int signal);
    [[nodiscard]] ChildEnd waitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(10));
    [[nodiscard]] pid_t identifier() const { return child_; }

private:
    pid_t child_ = -1;
    int readyPipe_ = -1;
    int output_ = -1;
    int errorOutput_ = -1;
    std::chrono::steady_clock::time_point begin_;
};

[[nodiscard]] ChildEnd runInChild(const std::function<void()>& body);

} // namespace testing_support
