#include "TessaroThumbs/Starter/Processes.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <glob.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessaro {
namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> out;
    out.reserve(texts.size() + 1);
    for (const std::string& text : texts)
        out.push_back(const_cast<char*>(text.c_str()));
    out.push_back(nullptr);
    return out;
}

// In the child, between fork and exec. Sources are moved out of the way first: one may stand where another one goes.
// What else is open, the caller's included, is none of the program's business.
bool arrangeDescriptors(std::vector<InheritedDescriptor> descriptors) {
    int outOfTheWay = STDERR_FILENO + 1;
    for (const InheritedDescriptor& each : descriptors)
        outOfTheWay = std::max(outOfTheWay, each.target + 1);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO})
        if (std::none_of(descriptors.begin(), descriptors.end(),
                         [standard](const InheritedDescriptor& each) { return each.target == standard; }))
            descriptors.push_back({open("/dev/null", O_RDWR | O_CLOEXEC), standard});
    for (InheritedDescriptor& each : descriptors)
        each.source = fcntl(each.source, F_DUPFD_CLOEXEC, outOfTheWay);
    (void)close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    return std::all_of(descriptors.begin(), descriptors.end(), [](const InheritedDescriptor& each) {
        return each.source >= 0 && dup2(each.source, each.target) >= 0;
    });
}

// A child belongs to the thread that started it.
std::vector<pid_t> children(pid_t parent) {
    std::vector<pid_t> found;
    glob_t lists{};
    if (glob(("/proc/" + std::to_string(parent) + "/task/*/children").c_str(), GLOB_NOSORT, nullptr, &lists) == 0)
        for (std::size_t i = 0; i < lists.gl_pathc; ++i) {
            std::ifstream list(lists.gl_pathv[i]);
            for (pid_t child = 0; list >> child;)
                found.push_back(child);
        }
    globfree(&lists);
    return found;
}

std::size_t residentBytes(pid_t process) {
    std::ifstream pages("/proc/" + std::to_string(process) + "/statm");
    std::size_t reserved = 0;
    std::size_t resident = 0;
    pages >> reserved >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void killBeyond(pid_t parent, std::size_t bytes) {
    for (const pid_t child : children(parent)) {
        killBeyond(child, bytes);
        if (residentBytes(child) > bytes)
            kill(child, SIGKILL);
    }
}

} // namespace

pid_t startProgram(const std::string& path, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment, const std::vector<InheritedDescriptor>& descriptors,
                   int deathSignal) {
    const std::vector<char*> argumentList = pointers(arguments);
    const std::vector<char*> environmentList = pointers(environment);
    const pid_t parent = getpid();
    const pid_t child = fork(); // this process is small, and the child must ask for its parent's death signal
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, deathSignal);
    if (getppid() != parent)
        _exit(EXIT_FAILURE); // the parent ended before it could be watched
    for (const int signal : {SIGPIPE, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP, SIGCHLD})
        std::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    constexpr int commandNotFound = 127;
    if (arrangeDescriptors(descriptors))
        execve(path.c_str(), argumentList.data(), environmentList.data());
    std::perror(("TessaroThumbs: " + path).c_str());
    _exit(commandNotFound);
}

int endProgram(pid_t child) {
    constexpr int patience = 300; // milliseconds
    kill(child, SIGTERM);
    pollfd ended{static_cast<int>(syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
    if (ended.fd < 0 || poll(&ended, 1, patience) <= 0)
        kill(child, SIGKILL);
    close(ended.fd);
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

// Children are read before their parent goes; what a dying process leaves behind all the same is adopted and found
// later.
void killTree(pid_t process) {
    const std::vector<pid_t> own = children(process);
    kill(process, SIGKILL);
    for (const pid_t child : own)
        killTree(child);
}

void killChildren(pid_t process) {
    for (const pid_t child : children(process))
        killTree(child);
}

void awaitDescendants(int milliseconds) {
    constexpr int step = 5;
    for (int waited = 0; waited < milliseconds; waited += step) {
        pid_t reaped = 0;
        while ((reaped = waitpid(-1, nullptr, WNOHANG)) > 0) {
        }
        if (reaped < 0)
            return;
        poll(nullptr, 0, step);
    }
}

void killDescendantsBeyond(std::size_t bytes) {
    killBeyond(getpid(), bytes);
}

void endAllDescendants() {
    for (;;) {
        for (const pid_t child : children(getpid()))
            killTree(child);
        if (waitpid(-1, nullptr, 0) < 0 && errno == ECHILD)
            return;
    }
}

} // namespace tessaro
