// Scripts and the process table beside what they are measured against: the bare start and wait of a shell, also from a
// process with 1 GiB resident, and pgrep. Wall time counts here: nearly all of it passes in other processes.

#include "Ratios.h"

#include "brimle/BRProcesses.h"
#include "brimle/BRScripts.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Starts the words with their output thrown away, and waits.
void startAndWait(const std::vector<const char*>& words) {
    std::vector<const char*> argv = words;
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    if (posix_spawn(&pid, words.front(), &actions, nullptr, const_cast<char* const*>(argv.data()), environ) == 0)
        waitpid(pid, nullptr, 0);
    posix_spawn_file_actions_destroy(&actions);
}

// Memory that is really there while a benchmark runs.
class Resident {
public:
    explicit Resident(std::size_t bytes) : memory_(new char[bytes]) { std::memset(memory_.get(), 1, bytes); }

private:
    std::unique_ptr<char[]> memory_;
};
constexpr std::size_t gibibyte = std::size_t{1} << 30;

void bareShell(benchmark::State& state) {
    for (auto _ : state)
        startAndWait({"/bin/bash", "-c", "true"});
}
void script(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(brimle::runScript(u"true", std::nullopt, std::nullopt));
}
void scriptWaited(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(brimle::runScriptWaitForExit(u"true", std::nullopt, std::nullopt, true));
}
void bareShellFromGibibyte(benchmark::State& state) {
    const Resident resident(gibibyte);
    bareShell(state);
}
void scriptFromGibibyte(benchmark::State& state) {
    const Resident resident(gibibyte);
    script(state);
}
void pgrep(benchmark::State& state) {
    for (auto _ : state)
        startAndWait({"/usr/bin/pgrep", "-x", "no-such-process"});
}
void running(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(brimle::processIsRunning(u"no-such-process"));
}
void runningForUser(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(brimle::currentUserIsRunning(u"no-such-process"));
}
void hundredMegabytesThrough(benchmark::State& state) {
    const platform::Data input(100'000'000, 'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(brimle::runTask(u"/bin/cat", {}, platform::DataView(input)));
}

// The median of each over its repetitions: starting a process varies more than computing does.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                times_[run.run_name.function_name].push_back(run.GetAdjustedRealTime() /
                                                             benchmark::GetTimeUnitMultiplier(run.time_unit));
        ConsoleReporter::ReportRuns(runs);
    }
    void printRatios(const std::vector<Ratio>& ratios) {
        std::printf("\nmedian wall time over the repetitions (smallest), and ours as a share of the peer's\n");
        for (const Ratio& ratio : ratios) {
            auto& ours = times_[ratio.ours];
            auto& peer = times_[ratio.peer];
            if (ours.empty() || peer.empty())
                continue;
            std::sort(ours.begin(), ours.end());
            std::sort(peer.begin(), peer.end());
            const double our = ours[ours.size() / 2];
            const double other = peer[peer.size() / 2];
            std::printf("%-20s %8.3f ms (%.3f)  %-24s %8.3f ms (%.3f)  %5.2f x, smallest %5.2f x\n", ratio.ours,
                        our * 1e3, ours.front() * 1e3, ratio.peer, other * 1e3, peer.front() * 1e3, our / other,
                        ours.front() / peer.front());
        }
    }

private:
    std::map<std::string, std::vector<double>> times_;
};

BENCHMARK(bareShell)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(script)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(scriptWaited)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(bareShellFromGibibyte)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(30);
BENCHMARK(scriptFromGibibyte)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(30);
BENCHMARK(pgrep)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(running)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(runningForUser)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(hundredMegabytesThrough)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

} // namespace

int main(int argc, char** argv) {
    MedianReporter reporter;
    if (const int failure = runInterleaved(argc, argv, 9, reporter))
        return failure;
    reporter.printRatios({{"script", "bareShell"},
                          {"scriptWaited", "bareShell"},
                          {"scriptFromGibibyte", "bareShellFromGibibyte"},
                          {"running", "pgrep"},
                          {"runningForUser", "pgrep"}});
    return 0;
}
