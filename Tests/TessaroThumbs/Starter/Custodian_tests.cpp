// The starter and the custodian as processes, with a fake engine beside the starter's program: what comes out, how it
// ends, and what is left when any of them is killed.
#include "TessaroThumbs/ThumbnailRecord.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/TemporaryFolder.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessaro {
namespace {

using testing_support::Process;
using testing_support::ProcessOptions;
using testing_support::ProcessResult;
using testing_support::TemporaryFolder;
using testing_support::waitUntil;

struct ProcessEntry {
    pid_t parent = 0;
    char state = ' ';
    std::string name;
};

std::map<pid_t, ProcessEntry> allProcesses() {
    std::map<pid_t, ProcessEntry> found;
    for (const auto& folder : std::filesystem::directory_iterator("/proc")) {
        const pid_t process = std::atoi(folder.path().filename().c_str());
        const std::string status = process > 0 ? testing_support::contentsOf(folder.path() / "stat") : "";
        const std::size_t begin = status.find('(');
        const std::size_t end = status.rfind(')');
        if (end == std::string::npos)
            continue;
        std::istringstream fields(status.substr(end + 1));
        ProcessEntry entry;
        fields >> entry.state >> entry.parent;
        entry.name = status.substr(begin + 1, end - begin - 1);
        found[process] = entry;
    }
    return found;
}

// This process's descendants that still run: number and name. Orphans are adopted here and so counted.
std::map<pid_t, std::string> descendants() {
    const auto all = allProcesses();
    std::map<pid_t, std::string> found;
    for (const auto& [process, entry] : all) {
        if (entry.state == 'Z')
            continue;
        for (auto above = all.find(process); above != all.end(); above = all.find(above->second.parent))
            if (above->second.parent == getpid()) {
                found[process] = entry.name;
                break;
            }
    }
    return found;
}

// Which file stands at a path, as the fake engine tells it; "" when there is none.
std::string identityOf(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        return "";
    return std::to_string(status.st_ino) + " " + std::to_string(status.st_ctim.tv_sec) + " " +
           std::to_string(status.st_ctim.tv_nsec);
}

// What the fake engine found: "custodian 123" and so on, several lines of one name allowed.
std::multimap<std::string, std::string> readReport(const std::filesystem::path& file) {
    std::multimap<std::string, std::string> found;
    std::istringstream lines(testing_support::contentsOf(file));
    for (std::string line; std::getline(lines, line);)
        found.emplace(line.substr(0, line.find(' ')), line.substr(line.find(' ') + 1));
    return found;
}

class Run : public testing::Test {
protected:
    static void SetUpTestSuite() { prctl(PR_SET_CHILD_SUBREAPER, 1); }

    void SetUp() override {
        std::filesystem::copy_file(STARTER, folder / "TessaroThumbs");
        std::filesystem::copy_file(FAKE_ENGINE, folder / "TessaroThumbsEngine");
        options.environment["HOME"] = folder.path().string();
    }
    void TearDown() override {
        EXPECT_THAT(descendants(), testing::IsEmpty());
        for (const auto& [process, name] : descendants())
            kill(process, SIGKILL);
        while (waitpid(-1, nullptr, descendants().empty() ? WNOHANG : 0) > 0) {
        }
    }

    [[nodiscard]] std::vector<std::string> arguments(const std::string& behaviour) const {
        return {"-url", "http://page.example/", "-behaviour", behaviour, "-report", reportFile().string()};
    }
    [[nodiscard]] std::filesystem::path program() const { return folder / "TessaroThumbs"; }
    [[nodiscard]] std::filesystem::path reportFile() const { return folder / "report"; }

    // With "DevMode" the engine is on the user's display, so there is no private one.
    void setDevMode(bool on) const {
        const auto file = folder / "Library/Preferences/fi.tessaro.Tessaro.plist";
        if (on)
            testing_support::write(
                file, "<plist version=\"1.0\"><dict><key>DevMode</key><integer>1</integer></dict></plist>");
        else
            std::filesystem::remove(file);
    }
    // Until the engine is at work.
    void awaitReport() {
        ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(reportFile()); }));
        report = readReport(reportFile());
        if (report.contains("display"))
            display = report.find("display")->second;
        displaySocket = report.contains("socket") ? report.find("socket")->second : "";
        EXPECT_EQ(display.empty(), displaySocket.empty());
        runtimeFolder = variable("XDG_RUNTIME_DIR");
    }
    [[nodiscard]] std::string variable(const std::string& name) const {
        const auto [begin, end] = report.equal_range("variable");
        for (auto each = begin; each != end; ++each)
            if (each->second.starts_with(name + " "))
                return each->second.substr(name.size() + 1);
        return "";
    }
    [[nodiscard]] pid_t reported(const std::string& name) const {
        const auto found = report.find(name);
        return found == report.end() ? -1 : std::atoi(found->second.c_str());
    }
    [[nodiscard]] pid_t displayServer() const {
        for (const auto& [process, entry] : allProcesses())
            if (entry.parent == reported("custodian") && entry.name == "Xvfb")
                return process;
        return -1;
    }
    // Of the private display and of the folder that goes with it.
    void expectNoTrace() const {
        if (display.empty())
            return;
        // Another run may have taken the number since.
        EXPECT_NE(identityOf("/tmp/.X11-unix/X" + display), displaySocket) << display;
        EXPECT_TRUE(runtimeFolder.starts_with("/tmp/TessaroThumbs-")) << runtimeFolder;
        EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists(runtimeFolder); })) << runtimeFolder;
    }

    TemporaryFolder folder;
    ProcessOptions options;
    std::multimap<std::string, std::string> report;
    std::string display; // its number; empty when there was none
    std::string displaySocket;
    std::string runtimeFolder;
};

std::string summary(const std::string& output) {
    const auto start = findThumbnailRecord(platform::charactersAsBytes(output));
    if (!start)
        return output;
    return output.substr(0, *start) + "record of " + std::to_string(output.size() - *start);
}

struct EndRow {
    const char* behaviour;
    const char* output;
};

const EndRow ends[] = {
    {"nothing", ""},
    {"fail", ""},
    {"abort", ""},
    {"kill", ""},
    {"line", "a line of the log\n"},
    {"line abort", "a line of the log\n"},
    {"record", "record of 200034"},
    {"line record", "a line of the log\nrecord of 200034"},
    {"record fail", "record of 200034"},
    {"record abort", "record of 200034"},
    {"record close stay", "record of 200034"},
    {"ignore record close stay", "record of 200034"},
    {"half", ""},
    {"line half", "a line of the log\n"},
    {"half abort", ""},
    {"half kill", ""},
    {"half close stay", ""},
    {"daemons", ""},
    {"daemons record", "record of 200034"},
    {"daemons half kill", ""},
    {"ignore daemons record", "record of 200034"},
};

TEST_F(Run, EndsWithStatusZeroAndLeavesNothing) {
    for (const bool devMode : {true, false})
        for (const EndRow& row : ends) {
            SCOPED_TRACE(std::string(row.behaviour) + (devMode ? ", no display" : ", display"));
            setDevMode(devMode);
            std::filesystem::remove(reportFile());
            display.clear();
            const ProcessResult result = testing_support::run(program(), arguments(row.behaviour), options);
            EXPECT_EQ(result.status, 0);
            EXPECT_FALSE(result.timedOut);
            EXPECT_EQ(summary(result.output), row.output);
            EXPECT_EQ(result.errors, "");
            EXPECT_THAT(descendants(), testing::IsEmpty()) << "when the starter has ended, all has";
            awaitReport();
            EXPECT_EQ(display.empty(), devMode);
            expectNoTrace();
        }
}

TEST_F(Run, TheEngineMayStillLeaveInPeaceBehindItsOutput) {
    const ProcessResult result = testing_support::run(program(), arguments("record close slowly"), options);
    EXPECT_EQ(summary(result.output), "record of 200034");
    EXPECT_TRUE(std::filesystem::exists(reportFile().string() + ".left"));
    EXPECT_GE(result.ended - result.endOfOutput, std::chrono::milliseconds(80)) << "the reader did not wait for it";
}

enum class Victim : unsigned char { Starter, Custodian, Engine, Display };

struct KillRow {
    Victim victim;
    int signal;
    const char* behaviour;
    friend std::ostream& operator<<(std::ostream& out, const KillRow& row) {
        constexpr std::array names = {"starter", "custodian", "engine", "display"};
        return out << names[static_cast<std::size_t>(row.victim)] << " gets " << strsignal(row.signal)
                   << ", engine: " << row.behaviour;
    }
};

std::vector<KillRow> kills() {
    std::vector<KillRow> rows;
    for (const char* behaviour : {"stay", "ignore stay", "daemons stay", "ignore daemons half stay"})
        for (const int signal : {SIGKILL, SIGTERM, SIGINT})
            for (const Victim victim : {Victim::Starter, Victim::Custodian, Victim::Engine, Victim::Display})
                // An engine that ignores a signal goes on.
                if (victim != Victim::Engine || signal == SIGKILL || !std::string_view(behaviour).starts_with("ignore"))
                    rows.push_back({victim, signal, behaviour});
    return rows;
}

class Killed : public Run, public testing::WithParamInterface<std::tuple<KillRow, bool>> {};

TEST_P(Killed, LeavesNothing) {
    const auto& [row, devMode] = GetParam();
    if (devMode && row.victim == Victim::Display)
        return; // there is none
    setDevMode(devMode);
    Process starter(program(), arguments(row.behaviour), options);
    awaitReport();
    ASSERT_EQ(display.empty(), devMode);
    ASSERT_EQ(displaySocket.empty(), devMode) << display;
    const pid_t victim = row.victim == Victim::Starter     ? starter.pid()
                         : row.victim == Victim::Custodian ? reported("custodian")
                         : row.victim == Victim::Engine    ? reported("engine")
                                                           : displayServer();
    ASSERT_GT(victim, 1);
    ASSERT_EQ(kill(victim, row.signal), 0);
    const ProcessResult result = starter.finish(std::chrono::seconds(5));
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.signal, row.victim == Victim::Starter ? row.signal : 0);
    EXPECT_EQ(result.status, row.victim == Victim::Starter ? -1 : 0);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(waitUntil([] { return descendants().empty(); }, std::chrono::seconds(5)));
    expectNoTrace();
}

// What the main application ends a process with when it has gone wrong itself, or what a defect of ours would raise.
TEST_F(Run, AFatalSignalToTheStarterOrTheCustodianEndsItWithStatusZero) {
    for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP})
        for (const bool isStarter : {true, false}) {
            SCOPED_TRACE(std::string(strsignal(signal)) + (isStarter ? ", starter" : ", custodian"));
            std::filesystem::remove(reportFile());
            Process starter(program(), arguments("daemons half stay"), options);
            awaitReport();
            ASSERT_EQ(kill(isStarter ? starter.pid() : reported("custodian"), signal), 0);
            const ProcessResult result = starter.finish(std::chrono::seconds(5));
            EXPECT_EQ(result.status, 0);
            EXPECT_EQ(result.output, "");
            EXPECT_TRUE(waitUntil([] { return descendants().empty(); }, std::chrono::seconds(5)));
            expectNoTrace();
        }
}

struct CommandRow {
    std::vector<std::string> words;
    bool display;
};

TEST_F(Run, TheEngineGetsTheWordsUnchangedAndADisplayWhereThereIsAPageToLoad) {
    const CommandRow rows[] = {
        {{"-url", "http://page.example/", "-uuid", "a b\n\xC3\xA9\xFF*'\""}, true},
        {{"-url", "page.example"}, true},
        {{"-uuid", "id"}, false},
        {{"-url", ""}, false},
        {{"-url", "(list)"}, false},
        {{"-x", "", "-y", "-url"}, false},
    };
    for (const CommandRow& row : rows) {
        std::filesystem::remove(reportFile());
        std::vector<std::string> words{"-report", reportFile().string()};
        words.insert(words.end(), row.words.begin(), row.words.end());
        const ProcessResult result = testing_support::run(program(), words, options);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "");
        const std::string text = testing_support::contentsOf(reportFile());
        std::string expected = "argument " + program().string() + "\n";
        for (const std::string& word : words)
            expected += "argument " + word + "\n";
        EXPECT_NE(text.find(expected), std::string::npos) << text;
        for (const char* line : {"\nfd 4 ", "\nfd 5 ", "\ndisplay "})
            EXPECT_EQ(text.find(line) != std::string::npos, row.display) << row.words.back() << line;
    }
}

// What the caller left open belongs to nobody here, and a closed standard stream is no reason to fail.
TEST_F(Run, TheCallersDescriptorsStayTheCallers) {
    const char* redirections[] = {"4</dev/zero 5</dev/zero", "3>&1 4>&1 5>&1 9>&1", "<&- 3</dev/zero", "<&- 2>&-",
                                  "4>&1 >&- <&- 2>&-"};
    for (const char* redirection : redirections)
        for (const bool devMode : {true, false}) {
            SCOPED_TRACE(std::string(redirection) + (devMode ? ", no display" : ", display"));
            setDevMode(devMode);
            std::filesystem::remove(reportFile());
            options.wrapper = {"/bin/sh", "-c", std::string("exec \"$@\" ") + redirection, "sh"};
            const ProcessResult result = testing_support::run(program(), arguments("record"), options);
            EXPECT_EQ(result.status, 0);
            if (std::string_view(redirection).find(">&- <&-") == std::string_view::npos) {
                EXPECT_EQ(summary(result.output), "record of 200034");
            }
            awaitReport();
            std::map<int, std::string> found;
            const auto [begin, end] = report.equal_range("fd");
            for (auto each = begin; each != end; ++each)
                found[std::atoi(each->second.c_str())] = each->second.substr(each->second.find(' ') + 1);
            EXPECT_EQ(found[0], "/dev/null");
            EXPECT_EQ(found[1], "/dev/null");
            EXPECT_TRUE(found[3].starts_with("pipe:")) << found[3];
            EXPECT_EQ(found.contains(4) && found[4].starts_with("pipe:"), !devMode);
            EXPECT_EQ(found.contains(5) && found[5].starts_with("/memfd:display-authority"), !devMode);
            EXPECT_EQ(found.size(), devMode ? 4U : 6U) << "and no other";
            expectNoTrace();
            display.clear();
        }
}

TEST_F(Run, AReaderThatHasGoneAwayDoesNotChangeTheStatus) {
    options.closeOutput = true;
    for (const char* behaviour : {"record", "line record", "line half"}) {
        const ProcessResult result = testing_support::run(program(), arguments(behaviour), options);
        EXPECT_EQ(result.status, 0) << behaviour;
        EXPECT_EQ(result.signal, 0) << behaviour;
    }
}

TEST_F(Run, WithoutAnEngineThereIsNoRecordAndNoFailure) {
    setDevMode(true);
    std::filesystem::remove(folder / "TessaroThumbsEngine");
    testing_support::write(folder / "TessaroThumbsEngine", "not a program");
    std::filesystem::permissions(folder / "TessaroThumbsEngine", std::filesystem::perms::owner_all);
    const ProcessResult result = testing_support::run(program(), arguments("record"), options);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors.find("TessaroThumbsEngine"), std::string::npos)
        << "it says which program: " << result.errors;
}

struct HintRow {
    const char* name;
    bool terminal;
    std::vector<std::string> words;
    bool hint;
};

TEST_F(Run, HintsAtItsUsageToSomebodyAtATerminal) {
    const HintRow rows[] = {
        {"by hand", true, {}, true},
        {"by hand with words", true, {"-uuid", "id"}, false},
        {"by a program", false, {}, false},
    };
    for (const HintRow& row : rows) {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
        const std::string name = ptsname(terminal);
        ProcessOptions ownOptions = options;
        if (row.terminal)
            ownOptions.wrapper = {"/bin/sh", "-c", "exec \"$@\" 2>" + name, "sh"};
        const int keep = open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC); // else what was written is lost at its end
        const ProcessResult result = testing_support::run(program(), row.words, ownOptions);
        EXPECT_EQ(result.status, 0) << row.name;
        EXPECT_EQ(result.output, "") << row.name;
        EXPECT_EQ(result.errors, "") << row.name;
        fcntl(terminal, F_SETFL, O_NONBLOCK);
        std::array<char, 1024> text{};
        const ssize_t count = read(terminal, text.data(), text.size());
        const std::string shown(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        EXPECT_EQ(shown.starts_with("usage: TessaroThumbs -url <address>"), row.hint) << row.name << ": " << shown;
        close(keep);
        close(terminal);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, Killed, testing::Combine(testing::ValuesIn(kills()), testing::Bool()));

} // namespace
} // namespace tessaro
