// Standard streams that take nothing, or not yet.
#include "Fault.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace faults {
namespace {

auto openAs(const char* path, int target) {
    return [=](Setup& setup) { setup.inChild = [=] { return dup2(open(path, O_RDWR), target) == target; }; };
}

auto closeAtStart(const std::vector<int>& descriptors) {
    return [=](Setup& setup) {
        setup.inChild = [=] {
            for (const int each : descriptors)
                close(each);
            return true;
        };
    };
}

// The stream takes no byte from the beginning on. The pipe is as large as a user may make one.
auto fillPipe(int target, int flags = 0) {
    return [=](Setup& setup) {
        setup.inChild = [=] {
            constexpr int largestPipe = 1 << 20;
            const std::string piece(4096, ' ');
            fcntl(target, F_SETFL, O_NONBLOCK);
            fcntl(target, F_SETPIPE_SZ, largestPipe);
            while (write(target, piece.data(), piece.size()) > 0) {
            }
            return fcntl(target, F_SETFL, flags) == 0;
        };
    };
}

// Nothing is read until everything but the starter is over.
bool awaitEngineHalf(Run& run) {
    run.stopReading();
    return run.waitFor(Role::EngineHalf) &&
           run.waitUntil([&] { return run.process(Role::EngineHalf) == 0; }, std::chrono::seconds(20));
}

bool readLate(Run& run) {
    const bool blocked = awaitEngineHalf(run);
    run.goOnReading();
    return blocked;
}

bool readAfterTheEnd(Run& run) {
    run.stopReading();
    const bool ended = !run.waitUntil([] { return false; }, std::chrono::seconds(20)) && run.hasEnded();
    run.goOnReading();
    return ended;
}

bool goAwayLate(Run& run) {
    const bool blocked = awaitEngineHalf(run);
    run.noteFault();
    run.closeOutput();
    return blocked;
}

auto signalWhileBlocked(int signal) {
    return [=](Run& run) { return awaitEngineHalf(run) && run.send(Role::Starter, signal); };
}

std::string isPaddingAndRecord(const Run& run) {
    return run.output().find_first_not_of(' ') == run.recordAt() ? "" : "the output is not padding and a record";
}

} // namespace

std::vector<Fault> streamFaults() {
    std::vector<Fault> faults = {
        {.name = "no fault", .output = Output::Record, .times = moments()},
        {.name = "standard output closed by its reader at once",
         .output = Output::Anything,
         .act =
             [](Run& run) {
                 run.closeOutput();
                 return true;
             }},
        {.name = "standard output closed by its reader at a random moment",
         .output = Output::Anything,
         .act =
             [](Run& run) {
                 run.wait(randomMoment());
                 run.closeOutput();
                 return true;
             },
         .times = moments()},
        {.name = "standard output is /dev/full",
         .output = Output::Nothing,
         .prepare = openAs("/dev/full", STDOUT_FILENO)},
        {.name = "nobody reads before the helper's end", .output = Output::Record, .act = readAfterTheEnd},
        {.name = "a full pipe, read late",
         .output = Output::Anything,
         .prepare = fillPipe(STDOUT_FILENO),
         .act = readLate,
         .check = isPaddingAndRecord},
        // The caller's end may have been made non-blocking, and both ends share the flag.
        {.name = "a full non-blocking pipe, read late",
         .output = Output::Anything,
         .prepare = fillPipe(STDOUT_FILENO, O_NONBLOCK),
         .act = readLate,
         .check = isPaddingAndRecord},
        {.name = "a full pipe that nobody reads, then the reader goes",
         .output = Output::Anything,
         .prepare = fillPipe(STDOUT_FILENO),
         .act = goAwayLate},
        {.name = "a full pipe that nobody reads, then SIGTERM",
         .output = Output::Anything,
         .signal = SIGTERM,
         .prepare = fillPipe(STDOUT_FILENO),
         .act = signalWhileBlocked(SIGTERM)},
        {.name = "a full pipe that nobody reads, then SIGSEGV",
         .output = Output::Anything,
         .prepare = fillPipe(STDOUT_FILENO),
         .act = signalWhileBlocked(SIGSEGV)},
        {.name = "standard error is a full pipe that nobody reads",
         .output = Output::Record,
         .prepare = fillPipe(STDERR_FILENO)},
        {.name = "standard error is /dev/full",
         .output = Output::Record,
         .prepare = openAs("/dev/full", STDERR_FILENO)},
        {.name = "standard input closed at start", .output = Output::Record, .prepare = closeAtStart({0})},
        {.name = "standard output closed at start", .output = Output::Nothing, .prepare = closeAtStart({1})},
        {.name = "standard error closed at start", .output = Output::Record, .prepare = closeAtStart({2})},
        {.name = "input and error closed at start", .output = Output::Record, .prepare = closeAtStart({0, 2})},
        {.name = "all three closed at start", .output = Output::Nothing, .prepare = closeAtStart({0, 1, 2})},
    };
    return faults;
}

} // namespace faults
