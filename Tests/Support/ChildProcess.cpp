#include "Tests/Support/ChildProcess.h"

#include <csignal>
#include <cstdio>
#include <poll.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_support {
namespace {

int sayReadyTo = -1;

std::string contentsOfFile(int file) {
    std::string contents;
    lseek(file, 0, SEEK_SET);
    char piece[4096];
    for (ssize_t count = 0; (count = read(file, piece, sizeof piece)) > 0;)
        contents.append(piece, static_cast<std::size_t>(count));
    return contents;
}

} // namespace

ChildProcess::ChildProcess(const std::function<void()>& body) : begin_(std::chrono::steady_clock::now()) {
    int ready[2];
    output_ = memfd_create("output", MFD_CLOEXEC);
    errorOutput_ = memfd_create("error output", MFD_CLOEXEC);
    if (output_ < 0 || errorOutput_ < 0 || pipe(ready) != 0)
        throw std::runtime_error("no descriptors");
    std::fflush(nullptr);
    child_ = fork();
    if (child_ == 0) {
        dup2(output_, STDOUT_FILENO);
        dup2(errorOutput_, STDERR_FILENO);
        close(ready[0]);
        sayReadyTo = ready[1];
        // An exception that the function lets out is caught by nobody, the test framework neither.
        [&body]() noexcept { body(); }();
        std::fflush(nullptr);
        _exit(returned);
    }
    close(ready[1]);
    readyPipe_ = ready[0];
}

ChildProcess::~ChildProcess() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    close(readyPipe_);
    close(output_);
    close(errorOutput_);
}

void ChildProcess::sayReady() {
    (void)!write(sayReadyTo, "r", 1);
}

void ChildProcess::waitUntilReady() const {
    char byte = 0;
    if (read(readyPipe_, &byte, 1) != 1)
        throw std::runtime_error("the child ended before it was ready");
}

void ChildProcess::sendSignal(int signal) {
    begin_ = std::chrono::steady_clock::now();
    kill(child_, signal);
}

ChildEnd ChildProcess::waitForEnd(std::chrono::milliseconds limit) {
    ChildEnd end;
    // A descriptor of the process becomes readable when it ends: nothing is polled for and nothing slept.
    pollfd process{static_cast<int>(syscall(SYS_pidfd_open, child_, 0)), POLLIN, 0};
    end.hung = poll(&process, 1, static_cast<int>(limit.count())) != 1;
    close(process.fd);
    if (end.hung)
        kill(child_, SIGKILL);
    int status = 0;
    waitpid(child_, &status, 0);
    child_ = -1;
    end.time = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin_);
    if (WIFEXITED(status))
        end.exitStatus = WEXITSTATUS(status);
    else
        end.signal = WTERMSIG(status);
    end.output = contentsOfFile(output_);
    end.errorOutput = contentsOfFile(errorOutput_);
    return end;
}

ChildEnd runInChild(const std::function<void()>& body) {
    return ChildProcess(body).waitForEnd();
}

} // namespace testing_support
