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
    }
    [[nodiscard]] pid_t reported(const std::string& name) const {
        const auto found = report.find(name);
        return found == report.end() ? -1 : std::atoi(found->second.c_str());
    }
    [[nodiscard]] pid_t displayServer() const {
        return std::atoi(testing_support::contentsOf("/tmp/.X" + display + "-lock").c_str());
    }
    void expectNoTraceOfTheDisplay() const {
        if (display.empty())
            return;
        EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists("/tmp/.X" + display + "-lock"); })) << display;
        EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists("/tmp/.X11-unix/X" + display); })) << display;
    }

    TemporaryFolder folder;
    ProcessOptions options;
    std::multimap<std::string, std::string> report;
    std::string display; // its number; empty when there was none
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
            expectNoTraceOfTheDisplay();
        }
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
    expectNoTraceOfTheDisplay();
}

INSTANTIATE_TEST_SUITE_P(Rows, Killed, testing::Combine(testing::ValuesIn(kills()), testing::Bool()));

} // namespace
} // namespace tessaro
