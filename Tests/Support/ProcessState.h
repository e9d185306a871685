// What a process holds: descriptors, children, memory.
#pragma once

#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace testing_support {

[[nodiscard]] inline std::set<std::string> openDescriptors() {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // the descriptor of this listing itself
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!gone && target != "/proc/" + std::to_string(getpid()) + "/fd")
            found.insert(entry.path().filename().string() + " " + target.string());
    }
    return found;
}

// A variable of the environment that another process was started with; empty when it has none of that name.
[[nodiscard]] inline std::string environmentOf(pid_t process, const std::string& name) {
    const std::string all = '\0' + contentsOf("/proc/" + std::to_string(process) + "/environ");
    const std::size_t at = all.find('\0' + name + '=');
    return at == std::string::npos ? "" : all.c_str() + at + name.size() + 2;
}

// The process ids of the children that exist, ended ones that nobody collected included.
[[nodiscard]] inline std::vector<pid_t> children() {
    std::vector<pid_t> found;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream list(thread.path() / "children");
        for (pid_t pid = 0; list >> pid;)
            found.push_back(pid);
    }
    return found;
}

// Waits for a state that comes about by itself; false after ten seconds.
[[nodiscard]] inline bool eventually(const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Runs the action in a process of its own and returns what it returns (0 to 255), or -1 when it did not end by itself.
[[nodiscard]] inline int inProcessOfItsOwn(const std::function<int()>& action) {
    const pid_t pid = fork();
    if (pid == 0)
        _exit(action());
    int status = 0;
    if (pid == -1 || waitpid(pid, &status, 0) != pid)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A size of this process that its status gives in kB, in bytes.
[[nodiscard]] inline std::size_t statusBytes(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(name + ":"))
            return std::stoul(line.substr(name.size() + 1)) * 1024;
    return 0;
}
[[nodiscard]] inline std::size_t addressSpace() {
    return statusBytes("VmSize");
}
// The most memory that this process has had resident since resetPeakMemory.
[[nodiscard]] inline std::size_t peakMemory() {
    return statusBytes("VmHWM");
}
inline void resetPeakMemory() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

} // namespace testing_support
