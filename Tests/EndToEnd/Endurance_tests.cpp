// Many captures: every record is whole, nothing stays running, no file stays behind.
#include "Harness.h"

#include <deque>
#include <gtest/gtest.h>

namespace end_to_end {
namespace {

constexpr int captures = 100;

void expectWhole(Capture& capture, int number) {
    capture.finish();
    ASSERT_FALSE(capture.result().timedOut) << number;
    EXPECT_EQ(capture.result().status, 0) << number;
    ASSERT_TRUE(capture.hasRecord()) << number << ": " << capture.result().errors;
    EXPECT_EQ(platform::bytesAsCharacters(capture.record()->identifier), std::to_string(number));
    EXPECT_EQ(describe(capture.picture().pixelAt(290, 215)), "0xFF336699") << number;
    EXPECT_TRUE(capture.filesLeft().empty()) << number << testing::PrintToString(capture.filesLeft());
}

std::unique_ptr<Capture> numbered(int number) {
    CaptureOptions options;
    options.uuid = std::to_string(number);
    options.verbose = false;
    return std::make_unique<Capture>(Site::shared().url("/plain.html"), options);
}

TEST(Endurance, OneAfterAnother) {
    for (int number = 0; number < captures; ++number) {
        const auto capture = numbered(number);
        expectWhole(*capture, number);
        EXPECT_TRUE(capture->processes().empty()) << number << testing::PrintToString(capture->processes());
    }
}

TEST(Endurance, ChallengesInTheMiddleOfALoad) {
    // They arrive while the page is still being laid out: the picture must come whatever else is under way.
    for (int round = 0; round < 20; ++round)
        for (const char* path : {"/challenge-image.html", "/challenge-frame.html"}) {
            CaptureOptions options;
            options.limit = std::chrono::seconds(20);
            Capture capture(Site::shared().url(path), options);
            capture.finish();
            ASSERT_EQ(capture.complaints(), "") << path << " " << round;
            ASSERT_TRUE(capture.hasRecord()) << path << " " << round;
        }
}

TEST(Endurance, FourAtATime) {
    std::deque<std::unique_ptr<Capture>> running;
    for (int number = 0; number < captures + 4; ++number) {
        if (number >= 4) {
            expectWhole(*running.front(), number - 4);
            running.pop_front();
        }
        if (number < captures)
            running.push_back(numbered(number));
    }
    EXPECT_TRUE(testing_support::strayProcesses().empty()) << testing::PrintToString(testing_support::strayProcesses());
}

} // namespace
} // namespace end_to_end
