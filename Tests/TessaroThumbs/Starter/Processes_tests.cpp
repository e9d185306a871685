#include "TessaroThumbs/Starter/Processes.h"

#include "Tests/Support/Process.h"
#include "Tests/Support/TemporaryFolder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessaro {
namespace {

using testing_support::contentsOf;
using testing_support::TemporaryFolder;
using testing_support::waitUntil;

constexpr const char* shell = "/bin/sh";

// Runs `body` in a child process, whose descriptors and children are its own; its exit status.
int inChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// 'R' running, 'S' asleep, 'T' stopped, 'Z' ended and not reaped; a blank when there is no such process.
char stateOf(pid_t process) {
    const std::string status = contentsOf("/proc/" + std::to_string(process) + "/stat");
    const std::size_t name = status.rfind(')');
    return name != std::string::npos && status.size() > name + 2 ? status[name + 2] : ' ';
}

bool isRunning(pid_t process) {
    const char state = stateOf(process);
    return state != ' ' && state != 'Z';
}

std::vector<pid_t> numbersIn(const std::filesystem::path& file) {
    std::istringstream text(contentsOf(file));
    std::vector<pid_t> numbers;
    for (pid_t number = 0; text >> number;)
        numbers.push_back(number);
    return numbers;
}

struct Placement {
    int source;
    int target;
};

struct DescriptorRow {
    const char* name;
    std::vector<Placement> placements;
};

// In the child: a nameable file under each source number, all of them handed on. What the program then has open goes to
// `report`.
int listDescriptors(const std::vector<Placement>& placements, const std::filesystem::path& report) {
    constexpr int parked = 100;
    std::vector<InheritedDescriptor> descriptors;
    for (const Placement& placement : placements) {
        const int file = memfd_create(("from" + std::to_string(placement.source)).c_str(), 0);
        const int high = fcntl(file, F_DUPFD, parked);
        close(file);
        dup2(high, placement.source);
        close(high);
        descriptors.push_back({placement.source, placement.target});
    }
    const int leaked = open("/dev/zero", O_RDONLY); // not close-on-exec
    if (leaked < 0)
        return 10;
    const pid_t child = startProgram(FAKE_ENGINE, {"engine", "-report", report.string()}, {}, descriptors, SIGKILL);
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child ? WEXITSTATUS(status) : 11;
}

TEST(StartProgram, ArrangesDescriptorsWhateverTheirNumbers) {
    const DescriptorRow rows[] = {
        {"none", {}},
        {"in place", {{3, 3}}},
        {"to a lower number", {{20, 3}}},
        {"exchanged", {{3, 4}, {4, 3}}},
        {"in a ring", {{3, 4}, {4, 5}, {5, 3}}},
        {"in a ring, backwards", {{5, 4}, {4, 3}, {3, 5}}},
        {"a chain, the last first", {{4, 5}, {3, 4}}},
        {"a chain, the first first", {{3, 4}, {4, 5}}},
        {"the record's arrangement, all displaced", {{4, 3}, {5, 4}, {3, 5}}},
        {"standard input and output", {{3, 0}, {4, 1}}},
        {"standard input from a number that is a target", {{3, 0}, {4, 3}, {5, 4}}},
        {"from standard input", {{0, 3}}},
        {"standard input and output exchanged", {{0, 1}, {1, 0}}},
        {"high numbers", {{16, 17}, {17, 16}}},
        {"high and low", {{16, 3}, {3, 16}, {17, 18}, {18, 17}}},
    };
    const TemporaryFolder folder;
    for (const DescriptorRow& row : rows) {
        const auto report = folder / "report";
        std::filesystem::remove(report);
        EXPECT_EQ(inChild([&] { return listDescriptors(row.placements, report); }), 0) << row.name;
        std::map<int, std::string> expected;
        for (const Placement& placement : row.placements)
            expected[placement.target] = "/memfd:from" + std::to_string(placement.source) + " (deleted)";
        expected.try_emplace(0, "/dev/null"); // unless given
        expected.try_emplace(1, "/dev/null");
        std::map<int, std::string> found;
        std::istringstream lines(contentsOf(report));
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with("fd "))
                found[std::stoi(line.substr(3))] = line.substr(line.find(' ', 3) + 1);
        EXPECT_EQ(found.erase(STDERR_FILENO), 1U) << row.name << ": standard error goes along";
        EXPECT_EQ(found, expected) << row.name;
    }
}

TEST(StartProgram, HandsArgumentsAndEnvironmentOnUnchanged) {
    const TemporaryFolder folder;
    const auto report = folder / "report";
    const std::string script =
        "for a in \"$@\"; do printf '[%s]' \"$a\"; done > " + report.string() + "; /usr/bin/env >> " + report.string();
    const pid_t child = startProgram(shell, {"name", "-c", script, "zero", "", "-url", "a b", "\xC3\xA9\xFF", "*"},
                                     {"ONE=1", "TWO=two words"}, {}, SIGKILL);
    ASSERT_GT(child, 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    const std::string text = contentsOf(report);
    EXPECT_TRUE(text.starts_with("[][-url][a b][\xC3\xA9\xFF][*]")) << text;
    EXPECT_NE(text.find("ONE=1\n"), std::string::npos) << text;
    EXPECT_NE(text.find("TWO=two words\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("HOME="), std::string::npos) << "the caller's own environment stays out: " << text;
}

TEST(StartProgram, AProgramThatCannotBeRunEndsWith127) {
    for (const char* path : {"/nonexistent/program", "/", "/etc/passwd", ""}) {
        const pid_t child = startProgram(path, {"x"}, {}, {}, SIGKILL);
        ASSERT_GT(child, 0);
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 127) << path << ": " << status;
    }
}

TEST(StartProgram, ADescriptorThatIsNotOpenIsNotHandedOn) {
    const pid_t child = startProgram(shell, {"sh", "-c", "exit 0"}, {}, {{-1, 3}}, SIGKILL);
    ASSERT_GT(child, 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 127);
}

TEST(StartProgram, TheProgramHasDefaultSignalActionsAndNoneBlocked) {
    const TemporaryFolder folder;
    const auto report = folder / "report";
    const int result = inChild([&] {
        sigset_t all;
        sigfillset(&all);
        for (const int signal : {SIGPIPE, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP})
            std::signal(signal, SIG_IGN);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        const pid_t child = startProgram(
            shell, {"sh", "-c", "exec /bin/grep -E '^Sig(Blk|Ign)' /proc/self/status > " + report.string()}, {}, {},
            SIGKILL);
        int status = -1;
        return waitpid(child, &status, 0) == child ? WEXITSTATUS(status) : 11;
    });
    EXPECT_EQ(result, 0);
    std::ifstream lines(report);
    std::string blockedName;
    std::string ignoredName;
    std::uint64_t blocked = ~std::uint64_t{0};
    std::uint64_t ignored = ~std::uint64_t{0};
    lines >> blockedName >> std::hex >> blocked >> ignoredName >> ignored;
    ASSERT_EQ(blockedName + ignoredName, "SigBlk:SigIgn:");
    // Signals 32 and 33 belong to the C library, which lets nobody change what its process has inherited for them.
    constexpr std::uint64_t libraryOwn = std::uint64_t{3} << (32 - 1);
    EXPECT_EQ(blocked, 0U);
    EXPECT_EQ(ignored & ~libraryOwn, 0U) << std::hex << ignored;
}

TEST(StartProgram, TheProgramGetsItsSignalWhenTheParentEnds) {
    const TemporaryFolder folder;
    for (const bool trapped : {false, true}) {
        const auto report = folder / (trapped ? "trapped" : "plain");
        const std::string script = trapped ? "trap 'echo ended >> " + report.string() + "; exit' TERM; echo $$ > " +
                                                 report.string() + "; while :; do /bin/sleep 0.05; done"
                                           : "echo $$ > " + report.string() + "; exec /bin/sleep 1000";
        const int result = inChild([&] {
            if (startProgram(shell, {"sh", "-c", script}, {}, {}, trapped ? SIGTERM : SIGKILL) < 0)
                return 11;
            return waitUntil([&] { return !numbersIn(report).empty(); }) ? 0 : 12;
        });
        ASSERT_EQ(result, 0);
        const pid_t program = numbersIn(report).front();
        EXPECT_TRUE(waitUntil([&] { return !isRunning(program); })) << trapped;
        EXPECT_EQ(contentsOf(report).find("ended") != std::string::npos, trapped) << "which signal it was";
    }
}

struct EndRow {
    const char* name;
    const char* script; // writes "ready" to standard output once it is at work
    bool bySIGKILL;
    char state = 'S'; // to be awaited
};

TEST(EndProgram, EndsAChildOneWayOrTheOther) {
    const EndRow rows[] = {
        {"an obedient one", "echo ready; exec /bin/sleep 1000", false},
        {"one that ignores SIGTERM", "trap '' TERM; echo ready; while :; do /bin/sleep 0.2; done", true},
        {"one that stops itself", "echo ready; kill -STOP $$", true, 'T'},
        {"one that has ended", "echo ready", false, 'Z'},
    };
    for (const EndRow& row : rows) {
        std::array<int, 2> output{};
        ASSERT_EQ(pipe2(output.data(), O_CLOEXEC), 0);
        const pid_t child = startProgram(shell, {"sh", "-c", row.script}, {}, {{output[1], STDOUT_FILENO}}, SIGKILL);
        close(output[1]);
        std::array<char, 5> ready{};
        ASSERT_EQ(read(output[0], ready.data(), ready.size()), 5) << row.name;
        ASSERT_TRUE(waitUntil([&] { return stateOf(child) == row.state; })) << row.name;
        const auto begin = testing_support::Clock::now();
        endProgram(child);
        const auto taken = testing_support::Clock::now() - begin;
        EXPECT_EQ(kill(child, 0), -1) << row.name << " is reaped";
        EXPECT_EQ(waitpid(child, nullptr, WNOHANG), -1) << row.name;
        EXPECT_EQ(taken >= std::chrono::milliseconds(300), row.bySIGKILL) << row.name;
        EXPECT_LT(taken, std::chrono::seconds(5)) << row.name;
        close(output[0]);
    }
}

TEST(EndProgram, LeavesOtherChildrenAlone) {
    const pid_t other = startProgram("/bin/sleep", {"sleep", "1000"}, {}, {}, SIGKILL);
    const pid_t child = startProgram("/bin/sleep", {"sleep", "1000"}, {}, {}, SIGKILL);
    endProgram(child);
    EXPECT_TRUE(isRunning(other));
    endProgram(other);
    EXPECT_FALSE(isRunning(other));
}

struct FamilyRow {
    const char* name;
    const char* script; // each process appends its number to $1
    std::size_t processes;
};

// A child of the test adopts what the script leaves behind, ends it all and then has no child left.
TEST(EndAllDescendants, LeavesNothing) {
    const FamilyRow rows[] = {
        {"none", "exit 0", 0},
        {"a child", "echo $$ >> $1; exec /bin/sleep 1000", 1},
        {"a deaf child", "trap '' TERM INT HUP; echo $$ >> $1; while :; do /bin/sleep 0.1; done", 1},
        {"an orphan", "(echo $(exec sh -c 'echo $PPID') >> $1; exec /bin/sleep 1000) & exit 0", 1},
        {"three generations",
         "echo $$ >> $1; sh -c 'echo $$ >> $1; sh -c \"echo \\$\\$ >> $1; exec sleep 1000\" & exec sleep 1000' sh $1 & "
         "exec sleep 1000",
         3},
        {"orphans in sessions of their own",
         "for i in 1 2 3 4 5; do setsid sh -c 'setsid sh -c \"echo \\$\\$ >> $1; exec sleep 1000\" & exit 0' sh $1 & "
         "done; wait; exit 0",
         5},
        {"a stopped orphan", "(setsid sh -c 'echo $$ >> $1; kill -STOP $$' sh $1 &) ; exit 0", 1},
        {"one that forks whenever its child dies", "echo $$ >> $1; while :; do sh -c 'exec sleep 1000'; done", 1},
    };
    const TemporaryFolder folder;
    for (const FamilyRow& row : rows) {
        const auto report = folder / "report";
        testing_support::write(report, "");
        const int result = inChild([&] {
            prctl(PR_SET_CHILD_SUBREAPER, 1);
            if (startProgram(shell, {"sh", "-c", row.script, "sh", report.string()}, {"PATH=/usr/bin:/bin"}, {},
                             SIGKILL) < 0)
                return 11;
            if (!waitUntil([&] { return numbersIn(report).size() >= row.processes; }))
                return 12;
            endAllDescendants();
            return waitpid(-1, nullptr, 0) == -1 && errno == ECHILD ? 0 : 13;
        });
        EXPECT_EQ(result, 0) << row.name;
        for (const pid_t process : numbersIn(report))
            EXPECT_FALSE(isRunning(process)) << row.name;
    }
}

TEST(KillTree, KillsAProcessAndWhatItHasStarted) {
    const TemporaryFolder folder;
    const auto report = folder / "report";
    const pid_t other = startProgram("/bin/sleep", {"sleep", "1000"}, {}, {}, SIGKILL);
    const pid_t child =
        startProgram(shell,
                     {"sh", "-c", "echo $$ >> $1; sh -c 'echo $$ >> $1; setsid sleep 1000 & wait' sh $1 & wait", "sh",
                      report.string()},
                     {"PATH=/usr/bin:/bin"}, {}, SIGKILL);
    ASSERT_TRUE(waitUntil([&] { return numbersIn(report).size() == 2; }));
    killTree(child);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    for (const pid_t process : numbersIn(report))
        EXPECT_TRUE(waitUntil([&] { return !isRunning(process); }));
    EXPECT_TRUE(isRunning(other));
    endProgram(other);
}

} // namespace
} // namespace tessaro
