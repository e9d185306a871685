// Runs the helper through every fault of the matrix and prints the table at the end.
//
// Whatever the fault: the helper leaves with status 0 (or dies of the signal that it was sent, where that is not one of
// those that it turns into status 0), its output is a whole record or nothing, no process, display, lock or temporary
// file is left, and it does not hang.
#include "Fault.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>

namespace faults {

// GoogleTest prints a parameter with this.
void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.name;
}

namespace {

std::string expectation(const Fault& fault) {
    static const std::map<Output, std::string> words = {{Output::Record, "a record"},
                                                        {Output::LogAndRecord, "log lines, then a record"},
                                                        {Output::Nothing, "nothing"},
                                                        {Output::RecordOrNothing, "a record or nothing"},
                                                        {Output::Anything, "no more"}};
    const std::string end = fault.signal == 0 ? "status 0" : std::string("SIG") + sigabbrev_np(fault.signal);
    return end + ", " + words.at(fault.output);
}

std::string outputComplaint(const Run& run, Output expected) {
    const bool clean = run.output().empty() || run.recordAt() == std::size_t{0};
    switch (expected) {
    case Output::Record:
        return run.hasRecord() && clean ? "" : "there is no record";
    case Output::LogAndRecord:
        return run.hasRecord() && !clean && run.output().starts_with("[") ? ""
                                                                          : "there are not both log lines and a record";
    case Output::Nothing:
        return run.output().empty() ? "" : "there is output";
    case Output::RecordOrNothing:
        return clean ? "" : "there is output that is no record";
    case Output::Anything:
        break;
    }
    return "";
}

// What was seen of one fault.
struct Seen {
    int runs = 0;
    int untouched = 0;
    int records = 0;
    int empty = 0;
    milliseconds longestToEndOfOutput{0};
    milliseconds longestToEnd{0};
    milliseconds longestToNothingLeft{0};
    int failures = 0;

    void add(const Run& run, bool touched, bool failed) {
        ++runs;
        untouched += touched ? 0 : 1;
        records += run.hasRecord() ? 1 : 0;
        empty += run.output().empty() ? 1 : 0;
        failures += failed ? 1 : 0;
        longestToEndOfOutput = std::max(longestToEndOfOutput, run.untilEndOfOutput());
        longestToEnd = std::max(longestToEnd, run.untilEnd());
        longestToNothingLeft = std::max(longestToNothingLeft, run.untilNothingLeft());
    }
};

struct TableRow {
    std::string fault, expectation;
    Seen seen;
};

std::vector<TableRow>& table() {
    static std::vector<TableRow> rows;
    return rows;
}

class PrintsTheTable : public testing::Environment {
public:
    void TearDown() override {
        std::printf("\nAn ordinary run took %lld ms. Times in ms, the longest of each row, from the fault (or the last "
                    "byte of output) to: end of output, the helper's end, nothing left.\n\n",
                    static_cast<long long>(ordinaryDuration().count()));
        std::printf("%-62s %-36s %5s %7s %7s %6s %6s %6s  %s\n", "fault", "expected", "runs", "records", "nothing",
                    "output", "end", "rest", "");
        for (const auto& [fault, expected, seen] : table()) {
            const std::string late = seen.untouched > 0 ? ", " + std::to_string(seen.untouched) + " over before" : "";
            std::printf("%-62s %-36s %5d %7d %7d %6lld %6lld %6lld  %s%s\n", fault.c_str(), expected.c_str(), seen.runs,
                        seen.records, seen.empty, static_cast<long long>(seen.longestToEndOfOutput.count()),
                        static_cast<long long>(seen.longestToEnd.count()),
                        static_cast<long long>(seen.longestToNothingLeft.count()),
                        seen.failures == 0 ? "as expected" : "FAILED", late.c_str());
        }
    }
};

[[maybe_unused]] const auto* const environment = testing::AddGlobalTestEnvironment(new PrintsTheTable);

class Matrix : public testing::TestWithParam<Fault> {};

TEST_P(Matrix, HelperHoldsUnder) {
    const Fault& fault = GetParam();
    Seen seen;
    (void)patience(); // measured before, not in the midst of a run
    for (int i = 0; i < fault.times; ++i) {
        faults::Run run(fault.prepare);
        const bool touched = !fault.act || fault.act(run);
        run.finish(fault.limit);
        const bool diedOfIt = fault.signal != 0 && (touched || run.signal() != 0);
        std::string complaints = run.complaints(diedOfIt ? fault.signal : 0, patience());
        // A run that was over before its fault is an ordinary one.
        const bool mayHaveRecord = !touched && fault.output == Output::Nothing;
        if (const std::string said = outputComplaint(run, mayHaveRecord ? Output::RecordOrNothing : fault.output);
            !said.empty())
            complaints += said + ": " + std::to_string(run.output().size()) + " bytes\nstandard error: " + run.errors();
        if (fault.check)
            complaints += fault.check(run);
        EXPECT_EQ(complaints, "") << fault.name << ", run " << i + 1;
        seen.add(run, touched, !complaints.empty());
    }
    table().push_back({fault.name, expectation(fault), seen});
}

std::string testName(const testing::TestParamInfo<Fault>& fault) {
    std::string name;
    bool startsWord = true;
    for (const char character : fault.param.name) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isalnum(byte) != 0)
            name.push_back(startsWord ? static_cast<char>(std::toupper(byte)) : character);
        startsWord = std::isalnum(byte) == 0;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Streams, Matrix, testing::ValuesIn(streamFaults()), testName);
INSTANTIATE_TEST_SUITE_P(Files, Matrix, testing::ValuesIn(fileFaults()), testName);
INSTANTIATE_TEST_SUITE_P(Processes, Matrix, testing::ValuesIn(processFaults()), testName);
INSTANTIATE_TEST_SUITE_P(Limits, Matrix, testing::ValuesIn(limitFaults()), testName);
INSTANTIATE_TEST_SUITE_P(Pages, Matrix, testing::ValuesIn(pageFaults()), testName);
INSTANTIATE_TEST_SUITE_P(Endings, Matrix, testing::ValuesIn(endingFaults()), testName);
INSTANTIATE_TEST_SUITE_P(FatalSignals, Matrix, testing::ValuesIn(fatalSignalFaults()), testName);
INSTANTIATE_TEST_SUITE_P(Injected, Matrix, testing::ValuesIn(injectedFaults()), testName);

} // namespace
} // namespace faults
