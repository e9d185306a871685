// Faults from within, by a library that is loaded into the helper ahead of its own (see Injection.cpp).
#include "Fault.h"

namespace faults {
namespace {

auto inject(const char* fault) {
    return [=](Setup& setup) {
        setup.environment["LD_PRELOAD"] = INJECTION_LIBRARY;
        setup.environment["TESSARO_INJECTED_FAULT"] = fault;
    };
}

auto jumpClock(const char* seconds) {
    return [=](Setup& setup) {
        setup.logVerbosely();
        setup.environment["LD_PRELOAD"] = INJECTION_LIBRARY;
        setup.environment["TESSARO_CLOCK_JUMP"] = seconds;
    };
}

// Otherwise the row would show that nothing happens when nothing happens.
std::string injectionHappened(const Run& run) {
    return run.errors().find("injected") != std::string::npos ? "" : "the fault was not injected: " + run.errors();
}

std::string clockJumped(const Run& run) {
    const std::string log = testing_support::contentsOf(run.home() / "home/Library/Logs/Tessaro/TessaroThumbs.log");
    return log.find(" 2090| ") != std::string::npos || log.find(" 1975| ") != std::string::npos
               ? ""
               : "the clock did not jump: " + log;
}

} // namespace

std::vector<Fault> injectedFaults() {
    std::vector<Fault> faults;
    for (const char* fault :
         {"exception", "number thrown", "heap corruption", "stack overflow", "stack overflow on another thread"})
        faults.push_back({.name = std::string("in an engine callback: ") + fault,
                          .output = Output::Nothing,
                          .prepare = inject(fault),
                          .check = injectionHappened});
    faults.push_back({.name = "in an engine callback: a library prints to standard output",
                      .output = Output::Record,
                      .prepare = inject("print"),
                      .check = injectionHappened});
    faults.push_back({.name = "clock jumps to 2090 and back at every look",
                      .output = Output::Record,
                      .prepare = jumpClock("2090"),
                      .check = clockJumped});
    faults.push_back({.name = "clock jumps to 1975 and back at every look",
                      .output = Output::Record,
                      .prepare = jumpClock("1975"),
                      .check = clockJumped});
    return faults;
}

} // namespace faults
