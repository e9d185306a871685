#include "Fault.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <sched.h>
#include <stdexcept>
#include <sys/mount.h>
#include <unistd.h>

namespace faults {
namespace {

bool writeText(const char* path, const std::string& text) {
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    const bool written = file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    return written;
}

} // namespace

int moments() {
    const char* number = std::getenv("TESSARO_FAULT_MOMENTS");
    constexpr int inEveryTest = 3;
    return number ? std::max(1, std::atoi(number)) : inEveryTest;
}

milliseconds ordinaryDuration() {
    static const milliseconds duration = [] {
        std::vector<milliseconds> measured;
        for (int i = 0; i < 3; ++i) {
            Run run(nullptr);
            run.finish(std::chrono::seconds(60));
            if (!run.hasRecord())
                throw std::runtime_error("a run without any fault gives no record:\n" + run.errors());
            measured.push_back(run.duration());
        }
        std::sort(measured.begin(), measured.end());
        return measured[1];
    }();
    return duration;
}

milliseconds randomMoment() {
    static std::mt19937 generator(std::random_device{}());
    return milliseconds(std::uniform_int_distribution<milliseconds::rep>(0, ordinaryDuration().count())(generator));
}

milliseconds patience() {
    return std::max(milliseconds(1000), 2 * ordinaryDuration());
}

bool makePrivateMounts() {
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWNS) != 0) {
        // Not root: as the root of a user namespace.
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !writeText("/proc/self/setgroups", "deny") ||
            !writeText("/proc/self/uid_map", "0 " + user + " 1") ||
            !writeText("/proc/self/gid_map", "0 " + group + " 1"))
            return false;
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool cover(const char* program, const char* by) {
    return mount(by, program, nullptr, MS_BIND, nullptr) == 0;
}

} // namespace faults
