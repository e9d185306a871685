#include "CaptureQueue.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace picture_wall {
namespace {

using Clock = std::chrono::steady_clock;

struct Helper {
    Capture capture;
    pid_t process = -1;
    int output = -1;
    Clock::time_point deadline;
};

// The read end is this program's alone: a helper must not hold the stream of another one open.
bool startHelper(Helper& helper, const QueueOptions& options, const std::string& identifier) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::array<std::string, 5> words = {options.helper, "-url", helper.capture.address, "-uuid", identifier};
    std::array<char*, 6> arguments{};
    std::transform(words.begin(), words.end(), arguments.begin(), [](std::string& word) { return word.data(); });
    const bool started =
        posix_spawnp(&helper.process, options.helper.c_str(), &actions, nullptr, arguments.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    helper.output = ends[0];
    helper.deadline = Clock::now() + options.patience;
    if (!started)
        close(ends[0]);
    return started;
}

// The record is complete at the end of the stream; the helper is gone right after it.
void finish(Helper& helper) {
    close(helper.output);
    waitpid(helper.process, nullptr, 0);
}

// False at the end of the stream.
bool readSome(Helper& helper) {
    std::array<std::uint8_t, 65536> buffer{};
    const ssize_t count = read(helper.output, buffer.data(), buffer.size());
    if (count > 0)
        helper.capture.output.insert(helper.capture.output.end(), buffer.begin(), buffer.begin() + count);
    return count > 0;
}

// One more when there is a place; those that cannot be started are finished at once.
void startNext(std::vector<Helper>& running, const std::string& address, const QueueOptions& options,
               const std::string& identifier, const std::function<void(const Capture&)>& finished) {
    Helper helper;
    helper.capture.address = address;
    if (startHelper(helper, options, identifier)) {
        running.push_back(std::move(helper));
    } else {
        helper.capture.outcome = Outcome::DidNotStart;
        finished(helper.capture);
    }
}

} // namespace

void captureAll(const std::vector<std::string>& addresses, const QueueOptions& options,
                const std::function<void(const Capture&)>& finished) {
    std::vector<Helper> running;
    std::size_t next = 0;
    while (next < addresses.size() || !running.empty()) {
        while (next < addresses.size() && running.size() < options.atOnce) {
            startNext(running, addresses[next], options, std::to_string(next), finished);
            ++next;
        }
        std::vector<pollfd> streams;
        auto wait = std::chrono::milliseconds(options.patience);
        for (const Helper& helper : running) {
            streams.push_back({helper.output, POLLIN, 0});
            wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(helper.deadline - Clock::now()));
        }
        poll(streams.data(), streams.size(), static_cast<int>(std::max(wait, std::chrono::milliseconds(0)).count()));
        std::vector<Helper> stillRunning;
        for (std::size_t i = 0; i < running.size(); ++i) {
            Helper& helper = running[i];
            const bool ended = streams[i].revents != 0 && !readSome(helper);
            if (!ended && Clock::now() < helper.deadline) {
                stillRunning.push_back(std::move(helper));
                continue;
            }
            if (!ended) {
                kill(helper.process, SIGTERM); // takes everything with it that the helper has started
                helper.capture.outcome = Outcome::TookTooLong;
                helper.capture.output.clear();
            }
            finish(helper);
            finished(helper.capture);
        }
        running = std::move(stillRunning);
    }
}

} // namespace picture_wall
