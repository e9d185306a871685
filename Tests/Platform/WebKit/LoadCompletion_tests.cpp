#include "WebKit/LoadCompletion.h"

#include <gtest/gtest.h>
#include <ostream>
#include <vector>

namespace platform {
namespace {

enum Event { Started, Committed, Failed, Finished, IconStarted, IconEnded, IconRefused, IconArrived, Answered };

struct Step {
    Event event;
    int time = 0; // milliseconds
};

struct Row {
    const char* name;
    std::vector<Step> steps;
    std::optional<int> due;
    friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

// On a machine without other work: the web process answers at once.
void answerAll(LoadCompletion& load, LoadCompletion::Time time) {
    while (load.wantsAnswers())
        load.webProcessAnswered(time);
}

void applyOnBusyMachine(LoadCompletion& load, Step step) {
    const LoadCompletion::Time time(step.time);
    switch (step.event) {
    case Started:
        return load.loadStarted();
    case Committed:
        return load.loadCommitted();
    case Failed:
        return load.loadFailed();
    case Finished:
        return load.loadFinished(time);
    case IconStarted:
        return load.iconLoadStarted();
    case IconRefused:
        return load.iconLoadEnded(time, false);
    case IconEnded:
        return load.iconLoadEnded(time);
    case IconArrived:
        return load.iconArrived(time);
    case Answered:
        return load.webProcessAnswered(time);
    }
}

void apply(LoadCompletion& load, Step step) {
    applyOnBusyMachine(load, step);
    answerAll(load, LoadCompletion::Time(step.time));
}

std::optional<int> due(const LoadCompletion& load) {
    const auto time = load.dueTime();
    return time ? std::optional(static_cast<int>(time->count())) : std::nullopt;
}

// Every load finishes at 1000 where it does. A page without an icon is due at 1060, nothing later than 3000.
const Row rows[] = {
    // Without an icon
    {"nothing has happened", {}, std::nullopt},
    {"begun", {{Started}}, std::nullopt},
    {"committed", {{Started}, {Committed}}, std::nullopt},
    {"finished without an icon", {{Started}, {Committed}, {Finished, 1000}}, 1060},
    {"finished, told at time 0", {{Started}, {Committed}, {Finished, 0}}, 60},
    {"finished without a commit", {{Started}, {Finished, 1000}}, 1060},

    // Failures: the engine says "finished" behind each of them
    {"failed before the commit", {{Started}, {Failed}, {Finished, 1000}}, std::nullopt},
    {"failed after the commit", {{Started}, {Committed}, {Failed}, {Finished, 1000}}, std::nullopt},
    {"failed, and an icon all the same",
     {{Started}, {Committed}, {IconStarted}, {Failed}, {Finished, 1000}, {IconEnded, 1010}, {IconArrived, 1010}},
     std::nullopt},
    {"failed twice", {{Started}, {Failed}, {Failed}, {Finished, 1000}}, std::nullopt},

    // A new load
    {"a new load has begun since", {{Started}, {Committed}, {Finished, 1000}, {Started}}, std::nullopt},
    {"the new load finished too",
     {{Started}, {Committed}, {Finished, 900}, {Started}, {Committed}, {Finished, 1000}},
     1060},
    {"the new load after a failed one counts",
     {{Started}, {Committed}, {Failed}, {Finished, 900}, {Started}, {Committed}, {Finished, 1000}},
     1060},
    {"the new load failed",
     {{Started}, {Committed}, {Finished, 900}, {Started}, {Failed}, {Finished, 1000}},
     std::nullopt},
    {"the former load's endless icon is forgotten",
     {{Started}, {Committed}, {IconStarted}, {Finished, 900}, {Started}, {Committed}, {Finished, 1000}},
     1060},
    {"forgotten from the new load's beginning on",
     {{Started}, {Committed}, {IconStarted}, {Finished, 900}, {Started}, {Finished, 1000}},
     1060},
    {"the former load's icon is forgotten",
     {{Started},
      {Committed},
      {IconStarted},
      {IconEnded, 990},
      {IconArrived, 990},
      {Finished, 995},
      {Started},
      {Committed},
      {Finished, 1000}},
     1060},
    {"an icon loaded before the commit is another page's",
     {{Started}, {IconStarted}, {Committed}, {Finished, 1000}},
     1060},
    {"an end without a beginning", {{Started}, {Committed}, {IconEnded, 990}, {Finished, 1000}}, 1060},
    {"the end of a former load's icon does not end this one's",
     {{Started}, {Committed}, {IconEnded, 990}, {IconStarted}, {Finished, 1000}},
     3000},

    // One icon
    {"icon under way at the finish", {{Started}, {Committed}, {IconStarted}, {Finished, 1000}}, 3000},
    {"icon begun after the finish", {{Started}, {Committed}, {Finished, 1000}, {IconStarted}}, 3000},
    {"icon that never ends", {{Started}, {Committed}, {Finished, 1000}, {IconStarted}}, 3000},
    {"icon refused", {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconRefused, 1200}}, 1200},
    {"icon refused at once", {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconRefused, 1001}}, 1017},
    {"icon ended, its picture awaited",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconEnded, 1200}},
     1450},
    {"icon ended, its picture there",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconEnded, 1200}, {IconArrived, 1202}},
     1202},
    {"picture right before the end",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconArrived, 1199}, {IconEnded, 1200}},
     1200},
    {"picture there, its load not ended", //
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconArrived, 1199}},
     3000},
    {"icon settled before the finish: the page still settles",
     {{Started}, {Committed}, {IconStarted}, {IconEnded, 500}, {IconArrived, 500}, {Finished, 1000}},
     1017},
    {"icon ended before the finish without a picture",
     {{Started}, {Committed}, {IconStarted}, {IconEnded, 500}, {Finished, 1000}},
     1017},
    {"icon ended right before the finish, its picture awaited",
     {{Started}, {Committed}, {IconStarted}, {IconEnded, 1000}, {Finished, 1000}},
     1250},
    {"icon ended within the settling time, its picture awaited",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconEnded, 1010}},
     1260},
    {"picture within the settling time",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconEnded, 1010}, {IconArrived, 1010}},
     1017},
    {"picture without a load: the engine had it",
     {{Started}, {Committed}, {Finished, 1000}, {IconArrived, 1010}},
     1060},
    {"icon ended at the longest wait",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconEnded, 2999}},
     3000},
    {"icon ended far too late",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconEnded, 9000}, {IconArrived, 9000}},
     3000},

    // Several icons: each has a picture of its own
    {"one of two under way",
     {{Started}, {Committed}, {IconStarted}, {IconStarted}, {Finished, 1000}, {IconEnded, 1010}, {IconArrived, 1010}},
     3000},
    {"two ended, no picture",
     {{Started}, {Committed}, {IconStarted}, {IconStarted}, {Finished, 1000}, {IconEnded, 1100}, {IconEnded, 1200}},
     1450},
    {"two ended, the first one's picture there",
     {{Started},
      {Committed},
      {IconStarted},
      {IconStarted},
      {Finished, 1000},
      {IconEnded, 1190},
      {IconArrived, 1191},
      {IconEnded, 1200}},
     1450},
    {"two ended, both pictures there",
     {{Started},
      {Committed},
      {IconStarted},
      {IconStarted},
      {Finished, 1000},
      {IconEnded, 1190},
      {IconArrived, 1191},
      {IconEnded, 1200},
      {IconArrived, 1201}},
     1201},
    {"one ended long ago, the second one's picture awaited",
     {{Started},
      {Committed},
      {IconStarted},
      {IconEnded, 500},
      {IconArrived, 500},
      {Finished, 1000},
      {IconStarted},
      {IconEnded, 1100}},
     1350},
    {"the first without a picture, the second with one",
     {{Started},
      {Committed},
      {IconStarted},
      {IconStarted},
      {Finished, 1000},
      {IconEnded, 1100},
      {IconEnded, 1200},
      {IconArrived, 1201}},
     1350},
    {"the first without a picture and ended just before",
     {{Started},
      {Committed},
      {IconStarted},
      {IconStarted},
      {Finished, 1000},
      {IconEnded, 1195},
      {IconEnded, 1200},
      {IconArrived, 1201}},
     1445},
    {"a picture too early to be the load's",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconArrived, 1100}, {IconEnded, 1200}},
     1450},
    {"one early picture for two loads",
     {{Started},
      {Committed},
      {IconStarted},
      {IconStarted},
      {Finished, 1000},
      {IconArrived, 1199},
      {IconEnded, 1200},
      {IconEnded, 1201}},
     1451},
    {"the former page's early picture is forgotten",
     {{Started}, {IconArrived, 990}, {Committed}, {IconStarted}, {IconEnded, 1000}, {Finished, 1000}},
     1250},
    {"another one begins once the first has settled",
     {{Started}, {Committed}, {IconStarted}, {IconEnded, 990}, {IconArrived, 990}, {Finished, 1000}, {IconStarted}},
     3000},
};

class Completion : public testing::TestWithParam<Row> {};

TEST_P(Completion, IsDueAtTheRightTime) {
    LoadCompletion load;
    for (const Step step : GetParam().steps)
        apply(load, step);
    EXPECT_EQ(due(load), GetParam().due);
}

INSTANTIATE_TEST_SUITE_P(Rows, Completion, testing::ValuesIn(rows));

// The web process must answer three questions before a page counts as settled, or something that may not come is given
// up.
const Row busyRows[] = {
    {"no answer", {{Started}, {Committed}, {Finished, 1000}}, 3000},
    {"two answers", {{Started}, {Committed}, {Finished, 1000}, {Answered, 1001}, {Answered, 1002}}, 3000},
    {"three answers at once",
     {{Started}, {Committed}, {Finished, 1000}, {Answered, 1001}, {Answered, 1002}, {Answered, 1003}},
     1060},
    {"a late answer",
     {{Started}, {Committed}, {Finished, 1000}, {Answered, 1050}, {Answered, 1100}, {Answered, 1150}},
     1150},
    {"answers far too late",
     {{Started}, {Committed}, {Finished, 1000}, {Answered, 4000}, {Answered, 4001}, {Answered, 4002}},
     3000},
    {"an icon's end asks anew",
     {{Started},
      {Committed},
      {IconStarted},
      {Finished, 1000},
      {Answered, 1001},
      {Answered, 1002},
      {Answered, 1003},
      {IconEnded, 1100}},
     3000},
    {"and is answered",
     {{Started},
      {Committed},
      {IconStarted},
      {Finished, 1000},
      {IconEnded, 1100},
      {Answered, 1120},
      {Answered, 1140},
      {Answered, 1160}},
     1350},
    {"a picture has come, and no answer",
     {{Started}, {Committed}, {IconStarted}, {Finished, 1000}, {IconEnded, 1100}, {IconArrived, 1101}},
     3000},
    {"a picture has come, and the answers later",
     {{Started},
      {Committed},
      {IconStarted},
      {Finished, 1000},
      {IconEnded, 1100},
      {IconArrived, 1101},
      {Answered, 1102},
      {Answered, 1103},
      {Answered, 1110}},
     1110},
    {"the answers before the settling time's end",
     {{Started},
      {Committed},
      {IconStarted},
      {IconEnded, 500},
      {IconArrived, 500},
      {Finished, 1000},
      {Answered, 1001},
      {Answered, 1002},
      {Answered, 1003}},
     1017},
};

class CompletionOnBusyMachine : public testing::TestWithParam<Row> {};

TEST_P(CompletionOnBusyMachine, IsDueAtTheRightTime) {
    LoadCompletion load;
    for (const Step step : GetParam().steps)
        applyOnBusyMachine(load, step);
    EXPECT_EQ(due(load), GetParam().due);
}

INSTANTIATE_TEST_SUITE_P(Rows, CompletionOnBusyMachine, testing::ValuesIn(busyRows));

// Whatever is told behind the finish, the wait is neither shorter than the settling time nor longer than the longest.
TEST(LoadCompletion, StaysBetweenSettlingTimeAndLongestWait) {
    constexpr Event icon[] = {IconStarted, IconEnded, IconArrived};
    constexpr int times[] = {1000, 1001, 1030, 1059, 1060, 2999, 3000, 5000};
    int rowsSeen = 0;
    for (const Event first : icon)
        for (const Event second : icon)
            for (const Event third : icon)
                for (const int time : times) {
                    LoadCompletion load;
                    const Step steps[] = {{Started},     {Committed},        {Finished, 1000},
                                          {first, time}, {second, time + 1}, {third, time + 2}};
                    for (const Step step : steps)
                        apply(load, step);
                    ASSERT_TRUE(due(load));
                    EXPECT_GE(*due(load), 1017) << first << second << third << " at " << time;
                    EXPECT_LE(*due(load), 3000) << first << second << third << " at " << time;
                    ++rowsSeen;
                }
    EXPECT_EQ(rowsSeen, 216);
}

TEST(LoadCompletion, TheTimesAreTheMeasuredOnes) {
    using Time = LoadCompletion::Time;
    EXPECT_EQ(LoadCompletion::settlingTime, Time(17));
    EXPECT_EQ(LoadCompletion::iconStartTime, Time(60));
    EXPECT_EQ(LoadCompletion::iconMatchTime, Time(30));
    EXPECT_EQ(LoadCompletion::iconArrivalTime, Time(250));
    EXPECT_EQ(LoadCompletion::longestWait, Time(2000));
}

} // namespace
} // namespace platform
