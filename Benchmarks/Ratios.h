// Ratios between benchmarks of one run: the smallest time of each over its repetitions, which other load on the machine
// disturbs least. A program's main is `return runWithRatios(argc, argv, {...});`.
#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

struct Ratio {
    const char* ours; // names of benchmarks
    const char* peer;
};

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                const double seconds = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
                const auto [place, isNew] = best_.try_emplace(run.run_name.function_name, seconds);
                place->second = std::min(place->second, seconds);
            }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios(const std::vector<Ratio>& ratios) const {
        std::printf("\nsmallest CPU time of all repetitions, and how many times as long the peer takes\n");
        for (const Ratio& ratio : ratios) {
            const auto ours = best_.find(ratio.ours);
            const auto peer = best_.find(ratio.peer);
            if (ours != best_.end() && peer != best_.end())
                std::printf("%-28s %12.3f us   %-28s %12.3f us   %6.2f x\n", ratio.ours, ours->second * 1e6, ratio.peer,
                            peer->second * 1e6, peer->second / ours->second);
        }
    }

private:
    std::map<std::string, double> best_;
};

// Every benchmark, several times in a random order, told to the reporter.
inline int runInterleaved(int argc, char** argv, int repetitions, benchmark::BenchmarkReporter& reporter) {
    std::vector<char*> arguments(argv, argv + argc);
    std::string times = "--benchmark_repetitions=" + std::to_string(repetitions);
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    std::string shortRuns = "--benchmark_min_time=0.05";
    arguments.insert(arguments.begin() + 1, {times.data(), interleaving.data(), shortRuns.data()});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}

inline int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios) {
    RatioReporter reporter;
    if (const int failure = runInterleaved(argc, argv, 7, reporter))
        return failure;
    reporter.printRatios(ratios);
    return 0;
}
