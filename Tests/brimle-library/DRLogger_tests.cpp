// Each test runs in a child: the logger is one for the process, and some of what it does ends standard output.
#include "Foundation/StandardOutput.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/TemporaryFolder.h"
#include "brimle/DRLogger.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <regex>
#include <unistd.h>

namespace brimle {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing_support::ChildEnd;
using testing_support::contentsOf;
using testing_support::runInChild;

using Name = std::shared_ptr<const String>;

constexpr const char* opening = "== Opening log session ==";

Name named(const std::filesystem::path& path) {
    return std::make_shared<const String>(path.u16string());
}

// The messages of lines that have the form of a log line; a line that has not is given as it is, with "!" before it.
std::vector<std::string> messages(const std::string& text) {
    static const std::regex form(R"(\[31043\] \w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}\| (.*))");
    std::vector<std::string> out;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        std::smatch match;
        out.push_back(std::regex_match(line, match, form) ? match[1].str() : "!" + line);
        begin = end + 1;
    }
    return out;
}

class Logger : public testing::Test {
protected:
    // Runs in a child that then exits in the ordinary way, exit handlers included.
    static ChildEnd run(const std::function<void()>& body) {
        ChildEnd end = runInChild([&body] {
            body();
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        });
        EXPECT_EQ(end.exitStatus, 0) << end.output << end.errorOutput << " signal " << end.signal;
        return end;
    }
    [[nodiscard]] std::vector<std::string> logged() const { return messages(contentsOf(log_)); }

    testing_support::TemporaryFolder folder_;
    std::filesystem::path log_ = folder_ / "made/by/the logger.log";
};

TEST_F(Logger, TheFirstUseMakesTheFolderAndOpensTheFile) {
    run([this] {
        DRLogger::setFileName(named(log_));
        EXPECT_FALSE(std::filesystem::exists(folder_ / "made"));
        const auto logger = DRLogger::logger();
        EXPECT_EQ(logger, DRLogger::logger());
        EXPECT_EQ(logged(), std::vector<std::string>{opening}) << "flushed at once";
        logger->log("one %@", String(u"h\u00E9"));
        EXPECT_EQ(logged().size(), 2u);
    });
    EXPECT_THAT(logged(), ElementsAre(opening, "one h\xC3\xA9"));
    run([this] {
        DRLogger::setFileName(named(log_));
        DRLogger::logger()->log("two");
    });
    EXPECT_THAT(logged(), ElementsAre(opening, "one h\xC3\xA9", opening, "two")) << "appended";
}

TEST_F(Logger, WithoutANameLinesGoToStandardOutput) {
    const ChildEnd end = run([] {
        EXPECT_EQ(DRLogger::logger()->output, nullptr);
        EXPECT_EQ(DRLogger::logger()->filename, nullptr);
        DRLogger::logger()->log("line");
        DRLogger::logger()->openLogFile(nullptr);
        DRLogger::shutdown();
        DRLogger::logger()->log("line two");
    });
    EXPECT_THAT(messages(end.output), ElementsAre("line", "line two"));
}

TEST_F(Logger, AnEmptyNameOpensNoFileAndEndsNoStream) {
    const ChildEnd end = run([this] {
        DRLogger::setFileName(named(log_));
        DRLogger::logger()->log("in the file");
        DRLogger::setFileName(named(""));
        DRLogger::logger()->log("outside");
        DRLogger::shutdown();
        (void)!write(STDOUT_FILENO, "open", 4);
    });
    EXPECT_THAT(logged(), ElementsAre(opening, "in the file"));
    EXPECT_THAT(messages(end.output), ElementsAre(opening, "outside", "!open"));
}

TEST_F(Logger, NamesAreComparedByObject) {
    run([this] {
        const Name name = named(log_);
        DRLogger::setFileName(name);
        (void)DRLogger::logger();
        DRLogger::setFileName(name);
        DRLogger::logger()->log("same");
        DRLogger::setFileName(named(log_));
        DRLogger::logger()->log("equal");
    });
    EXPECT_THAT(logged(), ElementsAre(opening, "same", opening, "equal"));
}

TEST_F(Logger, AnotherNameIsOpenedAtOnce) {
    const auto other = folder_ / "other.log";
    run([&] {
        DRLogger::setFileName(named(log_));
        (void)DRLogger::logger();
        DRLogger::setFileName(named(other));
        EXPECT_THAT(messages(contentsOf(other)), ElementsAre(opening));
        EXPECT_EQ(*DRLogger::logger()->filename, other.u16string());
    });
    EXPECT_THAT(logged(), ElementsAre(opening));
}

TEST_F(Logger, ANameOutlivesItsOwner) {
    run([this] {
        std::weak_ptr<const String> first;
        {
            const Name name = named(log_);
            first = name;
            DRLogger::setFileName(name);
        }
        DRLogger::setFileName(named(folder_ / "b.log"));
        EXPECT_FALSE(first.expired());
    });
    EXPECT_FALSE(std::filesystem::exists(log_)) << "a name alone opens nothing";
}

TEST_F(Logger, ExpandsTheTilde) {
    run([this] {
        setenv("HOME", folder_.path().c_str(), 1);
        DRLogger::setFileName(std::make_shared<const String>(u"~/made/by/the logger.log"));
        EXPECT_EQ(*DRLogger::logger()->filename, log_.u16string());
    });
    EXPECT_THAT(logged(), ElementsAre(opening));
}

TEST_F(Logger, ShutdownKeepsTheName) {
    run([this] {
        DRLogger::setFileName(named(log_));
        DRLogger::logger()->log("one");
        shutdownLogger();
        shutdownLogger();
        DRLogger::logger()->log("two");
    });
    EXPECT_THAT(logged(), ElementsAre(opening, "one", opening, "two"));
}

TEST_F(Logger, WithoutAFolderLinesGoToStandardOutputUntilTheLoggerEndsIt) {
    testing_support::write(folder_ / "made", "a file stands in the way");
    const ChildEnd end = run([this] {
        DRLogger::setFileName(named(log_));
        EXPECT_EQ(DRLogger::logger()->output, stdout);
        EXPECT_EQ(*DRLogger::logger()->filename, log_.u16string());
        DRLogger::logger()->log("line");
        DRLogger::shutdown();
        EXPECT_EQ(platform::standardOutput(), nullptr) << "closing the log closed it";
        EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFD), -1);
    });
    EXPECT_THAT(messages(end.output), ElementsAre(opening, "line"));
    EXPECT_THAT(end.errorOutput,
                HasSubstr("Failed to create directory for '" + log_.string() + "': Error Domain=NSPOSIXErrorDomain"));
}

TEST_F(Logger, StandardOutputThatWasClosedBeforeIsClosedOnce) {
    testing_support::write(folder_ / "made", "a file stands in the way");
    const ChildEnd end = run([this] {
        DRLogger::setFileName(named(log_));
        DRLogger::logger()->log("line");
        EXPECT_EQ(platform::closeStream(platform::standardOutput()), 0);
        DRLogger::logger()->log("nowhere");
    });
    EXPECT_THAT(messages(end.output), ElementsAre(opening, "line"));
    EXPECT_THAT(end.errorOutput, HasSubstr("Failed to close the log file: " + log_.string()));
}

TEST_F(Logger, AFileThatCannotBeOpenedIsPassedOverSilently) {
    std::filesystem::create_directories(log_); // a folder stands where the file belongs
    const ChildEnd end = run([this] {
        DRLogger::setFileName(named(log_));
        EXPECT_EQ(DRLogger::logger()->output, nullptr);
        DRLogger::logger()->log("line");
        DRLogger::shutdown();
        (void)!write(STDOUT_FILENO, "open", 4);
    });
    EXPECT_THAT(messages(end.output), ElementsAre(opening, "line", "!open"));
    EXPECT_EQ(end.errorOutput, "");
}

TEST_F(Logger, AFullDiskIsReportedWhenTheFileIsClosed) {
    const ChildEnd end = run([] {
        DRLogger::setFileName(std::make_shared<const String>(u"/dev/full"));
        const auto logger = DRLogger::logger();
        logger->log("line");
        std::fputs("unwritten", logger->output);
        logger->closeLogFile();
        EXPECT_EQ(logger->output, nullptr);
        EXPECT_EQ(logger->filename, nullptr);
    });
    EXPECT_EQ(end.output, "");
    EXPECT_THAT(end.errorOutput, HasSubstr("Failed to close the log file: /dev/full\n"));
}

TEST_F(Logger, TheSystemLogComesFirstAndSaysTheSame) {
    const ChildEnd end = run([this] {
        DRLogger::setFileName(named(log_));
        DRLogger::logger()->log2("%d%% of %@ %s", 50, String(u"%@ %n"), "%d");
    });
    EXPECT_THAT(logged(), ElementsAre(opening, "50% of %@ %n %d"));
    EXPECT_THAT(end.errorOutput, HasSubstr("50% of %@ %n %d\n"));
    EXPECT_EQ(std::count(end.errorOutput.begin(), end.errorOutput.end(), '\n'), 1);
    EXPECT_EQ(end.output, "");
}

TEST_F(Logger, HasFixedForms) {
    run([this] {
        DRLogger::setFileName(named(log_));
        const auto logger = DRLogger::logger();
        logger->logEnter_cmd(String(u"object"), String(u"command"));
        logger->logAt_cmd(String(u"object"), "place");
        logger->logReturn_cmd(String(u"object"), String(u"command"));
        logger->logEnter_cmd(std::optional<String>(), String(u"command"));
        logger->appWillTerminate({});
        logger->log("a\nb");
        logger->log("ends\n");
    });
    EXPECT_THAT(logged(), ElementsAre(opening, "object > command", "object - place", "object < command",
                                      "(null) > command", "== Application will terminate ==", "a", "!b", "ends", "!"));
}

TEST_F(Logger, WritesAnExceptionWithItsFrames) {
    std::size_t frames = 0;
    const ChildEnd end = runInChild([this] {
        DRLogger::setFileName(named(log_));
        const platform::NSException exception(u"name", u"it broke at 100%");
        DRLogger::logger()->logException_file_line(exception, "a/File.m", 40);
        std::exit(static_cast<int>(exception.callStackSymbols().size()));
    });
    frames = static_cast<std::size_t>(end.exitStatus);
    const auto lines = logged();
    ASSERT_EQ(lines.size(), 2 + frames);
    EXPECT_EQ(lines[1], "Exception caught in (a/File.m:40): it broke at 100%");
    for (std::size_t i = 2; i < lines.size(); ++i)
        EXPECT_THAT(lines[i], testing::StartsWith("!\t"));
    EXPECT_THAT(end.errorOutput, HasSubstr("Exception caught in (a/File.m:40): it broke at 100%\n"));
}

TEST_F(Logger, ForgetsItsNotificationsWhenItEnds) {
    run([this] {
        DRLogger::setFileName(named(log_));
        auto& centre = platform::NSNotificationCenter::defaultCenter();
        DRLogger* logger = DRLogger::logger().get();
        centre.addObserver_name(logger, platform::NSApplicationWillTerminateNotification,
                                [logger](const auto& notification) { logger->appWillTerminate(notification); });
        centre.postNotificationName(platform::NSApplicationWillTerminateNotification);
        DRLogger::shutdown();
        centre.postNotificationName(platform::NSApplicationWillTerminateNotification);
    });
    EXPECT_THAT(logged(), ElementsAre(opening, "== Application will terminate =="));
}

TEST_F(Logger, TwoProcessesShareAFile) {
    const auto work = [this] {
        DRLogger::setFileName(named(log_));
        for (int i = 0; i < 200; ++i)
            DRLogger::logger()->log("%@", String(300, u'x'));
        std::exit(0);
    };
    testing_support::ChildProcess one(work);
    testing_support::ChildProcess two(work);
    EXPECT_EQ(one.waitForEnd().exitStatus, 0);
    EXPECT_EQ(two.waitForEnd().exitStatus, 0);
    const auto lines = logged();
    EXPECT_EQ(lines.size(), 402u);
    for (const std::string& line : lines)
        EXPECT_TRUE(line == opening || line == std::string(300, 'x')) << line;
}

} // namespace
} // namespace brimle
