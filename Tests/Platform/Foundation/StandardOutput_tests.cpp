#include "Foundation/StandardOutput.h"

#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/TemporaryFolder.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace platform {
namespace {

using testing_support::ChildProcess;
using testing_support::runInChild;

TEST(StandardOutput, IsStdiosUntilItIsReplaced) {
    EXPECT_EQ(standardOutput(), stdout);
    EXPECT_TRUE(isStandardOutput(stdout));
    EXPECT_FALSE(isStandardOutput(stderr));
}

TEST(StandardOutput, ReplacedTakesNothingThatStdioPrints) {
    const testing_support::TemporaryFolder folder;
    const auto file = folder / "out";
    const auto child = runInChild([&] {
        replaceStandardOutput(std::fopen(file.c_str(), "we"));
        std::fputs("ours", standardOutput());
        std::puts("a library's");
        std::fflush(stdout);
        (void)closeStream(standardOutput());
    });
    EXPECT_EQ(child.exitStatus, ChildProcess::returned);
    EXPECT_EQ(testing_support::contentsOf(file), "ours");
    EXPECT_EQ(child.output, "a library's\n");
}

TEST(StandardOutput, EndsOnce) {
    const auto child = runInChild([] {
        std::FILE* stream = std::fopen("/dev/null", "we");
        replaceStandardOutput(stream);
        if (closeStream(stream) != 0 || standardOutput() != nullptr || !isStandardOutput(stream))
            _exit(1);
        errno = 0;
        if (closeStream(stream) != EOF || errno != EBADF)
            _exit(2);
    });
    EXPECT_EQ(child.exitStatus, ChildProcess::returned);
}

} // namespace
} // namespace platform
