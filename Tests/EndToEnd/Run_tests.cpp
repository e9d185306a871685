// The command for people: scripts/run, as `make run` calls it.
#include "Harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace end_to_end {
namespace {

using testing::HasSubstr;

// A build folder of the test's own with this build's programs, so that results of real runs are left alone.
class Run : public testing::Test {
protected:
    Run() { std::filesystem::create_directory_symlink(PROGRAMS_FOLDER, folder_ / "bin"); }

    ProcessResult run(const std::string& address, const std::string& identifier) {
        ProcessOptions options;
        options.environment["HOME"] = home_.path();
        return testing_support::run(RUN_SCRIPT, {folder_.path(), address, identifier}, options,
                                    std::chrono::seconds(60));
    }

    TemporaryFolder folder_;
    TemporaryFolder home_;
};

TEST_F(Run, CapturesTheSampleSite) {
    const auto result = run("", "");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("Capturing http://127.0.0.1"));
    EXPECT_THAT(result.output, HasSubstr("identifier         36  5A0F1E2D-3C4B-4A59-8687-960514233241\n"));
    EXPECT_THAT(result.output, HasSubstr("  301 x 226   " + (folder_ / "run/large.png").string() + "\n"));
    EXPECT_THAT(result.output, HasSubstr("  48 x 48     " + (folder_ / "run/small.png").string() + "\n"));
    EXPECT_TRUE(std::filesystem::exists(folder_ / "run/large.png"));
    EXPECT_TRUE(std::filesystem::exists(folder_ / "run/page.record"));
    EXPECT_TRUE(testing_support::waitUntil([] {
        for (const auto& [pid, command] : testing_support::strayProcesses())
            if (command == "loopback-site")
                return false;
        return true;
    }));
}

TEST_F(Run, CapturesAnyAddress) {
    const auto result = run(Site::shared().url("/plain.html"), "mine");
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("identifier          4  mine\n"));
}

TEST_F(Run, SaysThatNoRecordCameAndKeepsNoOldOne) {
    EXPECT_EQ(run(Site::shared().url("/plain.html"), "").status, 0);
    const auto result = run(Site::shared().url("/status/204"), "");
    EXPECT_NE(result.status, 0);
    EXPECT_THAT(result.errors, HasSubstr("no record came"));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "run/page.record"));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "run/large.png"));
}

} // namespace
} // namespace end_to_end
