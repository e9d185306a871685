// Runs a program as its user does: arguments, environment, standard streams, exit status, and when each thing happened.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace testing_support {

using Clock = std::chrono::steady_clock;

struct ProcessOptions {
    std::string input;                                             // for standard input, which then ends
    std::map<std::string, std::optional<std::string>> environment; // changes to one's own; absent removes
    bool keepInputOpen = false;                                    // it ends with the object
    bool closeOutput = false;                                      // nobody reads standard output
    std::vector<std::string> wrapper;                              // words in front of the program's
};

struct ProcessResult {
    int status = -1; // exit status; -1 when a signal or the deadline ended it
    int signal = 0;
    bool timedOut = false; // it was still running at the deadline, and its process group was killed
    std::string output;
    std::string errors;
    Clock::time_point started, lastOutput, endOfOutput, ended;
};

class Process {
public:
    // Starts the program in a process group of its own. Throws std::runtime_error when it cannot be started.
    Process(const std::filesystem::path& program, const std::vector<std::string>& arguments,
            const ProcessOptions& options = {});
    // Kills the process group of a program that is still running.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    void sendSignal(int number) const;
    // The output up to the first line end; empty when none comes in time. It stays part of the result's output.
    [[nodiscard]] std::string readLine(std::chrono::milliseconds limit = std::chrono::seconds(10));
    // Reads both streams to their ends and waits; the streams' ends and the program's count towards the limit.
    [[nodiscard]] ProcessResult finish(std::chrono::milliseconds limit = std::chrono::seconds(30));

private:
    void readFrom(int& descriptor, std::string& text, bool isOutput);
    [[nodiscard]] bool reap(bool block);

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string pending_; // of the input
    ProcessResult result_;
};

[[nodiscard]] inline ProcessResult run(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                                       const ProcessOptions& options = {},
                                       std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    return Process(program, arguments, options).finish(limit);
}

// One's own environment with changes, as "NAME=value"; absent removes.
[[nodiscard]] std::vector<std::string>
environmentWith(const std::map<std::string, std::optional<std::string>>& changes);
// What the exec calls take: a pointer to each word, which must outlive it, and a null one.
[[nodiscard]] std::vector<char*> pointers(std::vector<std::string>& words);

// Waits until the condition holds; false when it still does not at the deadline.
template <class Condition>
[[nodiscard]] bool waitUntil(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline)
            return false;
        const timespec pause{0, 5'000'000};
        nanosleep(&pause, nullptr);
    }
    return true;
}

using Processes = std::map<pid_t, std::string>; // to the command's name, of which the system keeps 15 characters

// The living processes whose environment holds "NAME=value".
[[nodiscard]] Processes processesWithEnvironment(const std::string& assignment);
// The living processes that descend from one.
[[nodiscard]] Processes descendantsOf(pid_t ancestor);
// What programs run by this one have left running: this process adopts whatever loses its parent. Nothing that a living
// Process object stands for.
[[nodiscard]] Processes strayProcesses();

} // namespace testing_support
