#include "NSTask.h"

#include "ChildWatch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr std::size_t standardStreams = 3;

// While it lives, a write to a pipe that nobody reads fails with EPIPE and nothing else: the signal is held back from
// this thread and taken away again, and the process's own disposition is not touched.
class BrokenPipeGuard {
public:
    BrokenPipeGuard() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~BrokenPipeGuard() {
        const timespec now = {0, 0};
        if (!wasPending_) {
            while (sigtimedwait(&pipe_, nullptr, &now) == -1 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

private:
    sigset_t pipe_{};
    sigset_t before_{};
    bool wasPending_ = false;
};

// Away from the numbers of the standard streams: in a process that has closed them, whatever is written to its standard
// error meanwhile would go into a pipe of ours.
int aboveStandardStreams(int descriptor) {
    if (descriptor >= static_cast<int>(standardStreams))
        return descriptor;
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, static_cast<int>(standardStreams));
    close(descriptor);
    return moved;
}

void closeDescriptor(int& descriptor) {
    if (descriptor != -1)
        close(descriptor);
    descriptor = -1;
}

// Writes what the pipe takes; false when there is nothing left to write or nobody left to read it.
bool writeTo(int descriptor, DataView& input) {
    const ssize_t written = write(descriptor, input.data(), input.size());
    if (written > 0)
        input = input.subspan(static_cast<std::size_t>(written));
    else if (written == -1 && errno != EAGAIN && errno != EINTR)
        return false;
    return !input.empty();
}

// Hands on what is there; false at the end of the stream or on an error.
bool readFrom(int descriptor, std::span<std::uint8_t> buffer, const NSTask::Receiver& receiver) {
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count > 0)
        receiver(buffer.first(static_cast<std::size_t>(count)));
    return count > 0 || (count == -1 && (errno == EAGAIN || errno == EINTR));
}

} // namespace

NSTask::NSTask(StringView launchPath, const std::vector<String>& arguments) {
    words_.push_back(lossyUTF8String(launchPath));
    for (const String& argument : arguments)
        words_.push_back(lossyUTF8String(argument));
}

NSTask::~NSTask() {
    closeChilds();
    for (std::size_t stream = 0; stream < standardStreams; ++stream)
        closeOurs(stream);
    if (pid_ != -1)
        collectChild(pid_);
}

bool NSTask::makePipe(std::size_t stream) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    for (int& end : ends)
        end = aboveStandardStreams(end);
    const std::size_t ours = stream == 0 ? 1 : 0; // the writing end of an input
    pipes_[stream] = {ends[ours], ends[1 - ours]};
    if (pipes_[stream].ours != -1 && pipes_[stream].childs != -1 &&
        fcntl(pipes_[stream].ours, F_SETFL, O_NONBLOCK) == 0)
        return true;
    closeDescriptor(pipes_[stream].ours);
    closeDescriptor(pipes_[stream].childs);
    return false;
}

void NSTask::closeOurs(std::size_t stream) {
    closeDescriptor(pipes_[stream].ours);
}

void NSTask::closeChilds() {
    for (Pipe& pipe : pipes_)
        closeDescriptor(pipe.childs);
}

// Returns 0 or an errno value.
int NSTask::spawn() {
    std::vector<char*> argv;
    for (std::string& word : words_)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (std::size_t stream = 0; stream < standardStreams; ++stream) {
        if (pipes_[stream].childs != -1)
            posix_spawn_file_actions_adddup2(&actions, pipes_[stream].childs, static_cast<int>(stream));
    }
    posix_spawn_file_actions_addclosefrom_np(&actions, static_cast<int>(standardStreams));

    // Shell pipelines rely on SIGPIPE, which an ignoring application would hand down.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    const int failure = posix_spawn(&pid_, words_.front().c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0)
        pid_ = -1;
    return failure;
}

bool NSTask::launch(NSErrorPointer error) {
    const int failure = spawn();
    closeChilds();
    if (failure != 0 && error)
        *error = NSError(NSPOSIXErrorDomain, failure);
    return failure == 0;
}

void NSTask::exchange(DataView input, const Receiver& output, const Receiver& error) {
    const BrokenPipeGuard guard;
    std::array<std::uint8_t, std::size_t{64} * 1024> buffer; // what a pipe holds
    if (input.empty())
        closeOurs(0);
    const auto advance = [&](std::size_t stream) {
        if (stream == 0)
            return writeTo(pipes_[stream].ours, input);
        return readFrom(pipes_[stream].ours, buffer, stream == 1 ? output : error);
    };
    while (std::any_of(std::begin(pipes_), std::end(pipes_), [](const Pipe& pipe) { return pipe.ours != -1; })) {
        pollfd waiting[standardStreams];
        for (std::size_t stream = 0; stream < standardStreams; ++stream) // a negative descriptor is passed over
            waiting[stream] = {pipes_[stream].ours, static_cast<short>(stream == 0 ? POLLOUT : POLLIN), 0};
        if (poll(waiting, standardStreams, -1) < 1)
            continue; // interrupted
        for (std::size_t stream = 0; stream < standardStreams; ++stream) {
            if (waiting[stream].revents != 0 && !advance(stream))
                closeOurs(stream);
        }
    }
}

void NSTask::waitUntilExit() {
    if (pid_ == -1)
        return;
    int status = 0;
    pid_t result = -1;
    do
        result = waitpid(pid_, &status, 0);
    while (result == -1 && errno == EINTR);
    if (result == pid_)
        terminationStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
    pid_ = -1;
}

} // namespace platform
