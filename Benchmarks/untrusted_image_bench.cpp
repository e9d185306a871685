// What it costs to decode an image of a stranger in a process of its own, beside decoding it here and beside starting
// a program that does nothing.
#include "AppKit/UntrustedImage.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <sys/wait.h>
#include <vector>

namespace {

using namespace platform;

Data icon(const char* name) {
    std::ifstream file(std::string(TEST_DATA_FOLDER "/images/") + name, std::ios::binary);
    return Data(std::istreambuf_iterator<char>(file), {});
}

void startAndWait() {
    char* arguments[] = {const_cast<char*>("true"), nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, "/bin/true", nullptr, nullptr, arguments, environ) == 0)
        waitpid(child, nullptr, 0);
}

template <class Work>
double median(Work work) {
    std::vector<double> times;
    for (int i = 0; i < 41; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
    }
    std::ranges::nth_element(times, times.begin() + 20);
    return times[20];
}

void confined(benchmark::State& state, const char* name) {
    const Data data = icon(name);
    for (auto each : state)
        benchmark::DoNotOptimize(imageWithUntrustedData(data));
}

void here(benchmark::State& state, const char* name) {
    const Data data = icon(name);
    for (auto each : state)
        benchmark::DoNotOptimize(NSImage::initWithData(data));
}

void emptyProgram(benchmark::State& state) {
    for (auto each : state)
        startAndWait();
}

} // namespace

int main(int argc, char* argv[]) {
    for (const char* name : {"opaque.png", "opaque.jpg", "opaque.gif", "opaque-lossy.webp", "opaque16.tiff"}) {
        benchmark::RegisterBenchmark((std::string("confined/") + name).c_str(), confined, name)->UseRealTime();
        benchmark::RegisterBenchmark((std::string("here/") + name).c_str(), here, name)->UseRealTime();
    }
    benchmark::RegisterBenchmark("empty program", emptyProgram)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    const Data png = icon("opaque.png");
    const double decoder = median([&] { (void)imageWithUntrustedData(png); });
    const double nothing = median(startAndWait);
    std::printf("confined PNG %.2f ms, an empty program %.2f ms: ratio %.2f\n", decoder, nothing, decoder / nothing);
    return 0;
}
