#include "ChildWatch.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {
namespace {

// A child's streams end a moment before the child itself does. Programs that go on behind closed streams are rare,
// and only they cost this long.
constexpr int momentMilliseconds = 20;

bool collected(pid_t pid) {
    const pid_t result = waitpid(pid, nullptr, WNOHANG);
    return result == pid || (result == -1 && errno == ECHILD);
}

bool endsInAMoment(pid_t pid) {
    // The C library's own declaration (2.36) does not link from C++. The descriptor is closed on exec.
    const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (descriptor == -1)
        return false;
    pollfd ended = {descriptor, POLLIN, 0};
    const int result = poll(&ended, 1, momentMilliseconds);
    close(descriptor);
    return result == 1;
}

void* waitForChild(void* argument) {
    const auto pid = static_cast<pid_t>(reinterpret_cast<std::intptr_t>(argument));
    while (waitpid(pid, nullptr, 0) == -1 && errno == EINTR) {
    }
    return nullptr;
}

// Only a wait of its own collects a child whenever it ends: a handler for SIGCHLD would interrupt the application's
// system calls and fight with its own, and a later call of ours may never come. The thread touches nothing that is
// shared, and no signal is delivered to it.
void collectInBackground(pid_t pid) {
    constexpr std::size_t stackBytes = std::size_t{256} * 1024;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, stackBytes);
    pthread_t thread{};
    // When there is no thread to be had, the child stays uncollected until the process ends.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the thread's argument carries a number, no address
    pthread_create(&thread, &attributes, waitForChild, reinterpret_cast<void*>(static_cast<std::intptr_t>(pid)));
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace

void collectChild(pid_t pid) {
    if (collected(pid) || (endsInAMoment(pid) && collected(pid)))
        return;
    collectInBackground(pid);
}

} // namespace platform
