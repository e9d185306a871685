// How runs end, whatever happens to them: status 0 or the signal that was sent, no half record, nothing left running.
#include "Harness.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace end_to_end {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using testing_support::waitUntil;

// A run whose page has reached the state that `request` shows.
std::unique_ptr<Capture> captureInProgress(const std::string& path, const std::string& request) {
    Site::shared().forgetRequests();
    auto capture = std::make_unique<Capture>(Site::shared().url(path));
    EXPECT_TRUE(waitUntil([&] { return Site::shared().sawRequest(request); }, std::chrono::seconds(30))) << request;
    return capture;
}

struct SignalCase {
    const char* path;
    const char* request; // that shows how far it is
    int signal;
};

TEST(Ends, BySignalLeaveNothing) {
    const SignalCase rows[] = {
        {"/spin.html", "GET /beacon?spinning", SIGTERM},
        {"/spin.html", "GET /beacon?spinning", SIGINT},
        {"/spin.html", "GET /beacon?spinning", SIGKILL},
        {"/drip", "GET /drip", SIGTERM},
        {"/drip", "GET /drip", SIGKILL},
        {"/never", "GET /never", SIGTERM},
        {"/never", "GET /never", SIGHUP},
        {"/stop.html", "GET /beacon?stopped", SIGTERM},
    };
    for (const SignalCase& row : rows) {
        const auto capture = captureInProgress(row.path, row.request);
        const auto sent = testing_support::Clock::now();
        capture->process().sendSignal(row.signal);
        capture->finish();
        const auto& result = capture->result();
        EXPECT_FALSE(result.timedOut) << row.path << " " << row.signal;
        EXPECT_EQ(result.output, "") << row.path << " " << row.signal;
        // The reader learns of the end at once; killing takes down the others a moment after the first.
        EXPECT_LT(duration_cast<milliseconds>(result.endOfOutput - sent).count(), 5000)
            << row.path << " " << row.signal;
        EXPECT_TRUE(waitUntil([&] { return capture->processes().empty(); })) << row.path << " " << row.signal;
    }
}

// The next load may be on its way, so the run goes on without one; nothing of the adapter's waiting ends it either.
TEST(Ends, AStoppedLoadLeavesTheRunWaiting) {
    const auto capture = captureInProgress("/stop.html", "GET /beacon?stopped");
    const timespec longerThanAnyWaiting{3, 0};
    nanosleep(&longerThanAnyWaiting, nullptr);
    EXPECT_FALSE(capture->processes("TessaroThumbsEngine").empty());
    capture->process().sendSignal(SIGTERM);
    capture->finish();
    EXPECT_EQ(capture->result().output, "");
    const std::vector<std::string> log = capture->log();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.back(), "Received NSURLErrorCancelled, probably a redirect");
}

struct VictimCase {
    const char* path;
    const char* request;
    const char* victim; // the process's name
};

TEST(Ends, WithoutARecordWhenAProcessOfTheirsDies) {
    const VictimCase rows[] = {
        {"/never", "GET /never", "WebKitWebProcess"},   {"/spin.html", "GET /beacon?spinning", "WebKitWebProcess"},
        {"/drip", "GET /drip", "WebKitWebProcess"},     {"/never", "GET /never", "WebKitNetworkProcess"},
        {"/drip", "GET /drip", "WebKitNetworkProcess"}, {"/drip", "GET /drip", "Xvfb"},
        {"/drip", "GET /drip", "TessaroThumbsEngine"},
    };
    for (const VictimCase& row : rows) {
        const auto capture = captureInProgress(row.path, row.request);
        const auto victims = capture->processes(row.victim);
        ASSERT_FALSE(victims.empty()) << row.victim;
        for (const pid_t victim : victims)
            kill(victim, SIGKILL);
        capture->finish();
        EXPECT_EQ(capture->complaints(), "") << row.victim << " " << row.path;
        EXPECT_EQ(capture->result().output, "") << row.victim << " " << row.path;
    }
}

TEST(Ends, ComeSoonAfterTheRecord) {
    // No process of the engine may hold the stream open: from the last byte to the end of file.
    for (int run = 0; run < 5; ++run) {
        Capture capture(Site::shared().url("/plain.html"));
        capture.finish();
        ASSERT_TRUE(capture.hasRecord());
        const auto& result = capture.result();
        const auto wait = duration_cast<std::chrono::microseconds>(result.endOfOutput - result.lastOutput);
        RecordProperty("microsecondsToEndOfFile" + std::to_string(run), static_cast<int>(wait.count()));
        EXPECT_LT(wait, std::chrono::seconds(1));
    }
}

TEST(Ends, AreNormalWhenNobodyReads) {
    CaptureOptions options;
    options.process.closeOutput = true;
    Capture capture(Site::shared().url("/plain.html"), options);
    capture.finish();
    EXPECT_EQ(capture.complaints(), "");
    EXPECT_THAT(capture.log(), testing::Contains("saveThumb"));
}

TEST(Ends, AReaderThatComesLateGetsTheWholeRecord) {
    Capture capture(Site::shared().url("/plain.html"));
    // The record is larger than a pipe: it waits there for the reader.
    EXPECT_TRUE(waitUntil([&] { return testing::Value(capture.log(), testing::Contains("saveThumb")); },
                          std::chrono::seconds(30)));
    capture.finish();
    EXPECT_EQ(capture.complaints(), "");
    EXPECT_TRUE(capture.hasRecord());
}

} // namespace
} // namespace end_to_end
