// The matrix of faults: what is done to the helper, what it owes then, and what was seen.
#pragma once

#include "Run.h"

#include <vector>

namespace faults {

enum class Output : unsigned char {
    Record,       // a whole record and nothing else
    LogAndRecord, // log lines, then a whole record to the end
    Nothing,
    RecordOrNothing,
    Anything // for streams on which nothing can arrive
};

struct Fault {
    std::string name;
    Output output = Output::RecordOrNothing;
    int signal = 0; // what the starter dies of; 0: it leaves with status 0
    std::function<void(Setup&)> prepare = {};
    // After the start. False: the run was over before the fault could happen; it counts, but as untouched.
    std::function<bool(Run&)> act = {};
    int times = 1;
    milliseconds limit = std::chrono::seconds(20);
    // What this fault promises beyond; a complaint, or nothing.
    std::function<std::string(const Run&)> check = {};
};

[[nodiscard]] std::vector<Fault> streamFaults();
[[nodiscard]] std::vector<Fault> fileFaults();
[[nodiscard]] std::vector<Fault> processFaults();
[[nodiscard]] std::vector<Fault> limitFaults();
[[nodiscard]] std::vector<Fault> pageFaults();
[[nodiscard]] std::vector<Fault> endingFaults();
[[nodiscard]] std::vector<Fault> fatalSignalFaults();
[[nodiscard]] std::vector<Fault> injectedFaults();

// How many random moments a fault that has moments is tried at: TESSARO_FAULT_MOMENTS, 3 when it is not set.
[[nodiscard]] int moments();

// The length of a run that nothing disturbs, on this machine as it is now.
[[nodiscard]] milliseconds ordinaryDuration();

// Within the length of an ordinary run.
[[nodiscard]] milliseconds randomMoment();

// How long a run may take to be gone after its fault: a second, more on a machine on which everything takes longer.
[[nodiscard]] milliseconds patience();

// Gives the child of a run, before it becomes the helper, mounts of its own. False when the system refuses.
[[nodiscard]] bool makePrivateMounts();
// Covers one program by another one for the run. REQUIRES: private mounts.
[[nodiscard]] bool cover(const char* program, const char* by);

} // namespace faults
