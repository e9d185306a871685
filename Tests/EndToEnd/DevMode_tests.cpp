// The developer's mode: the page on the user's own display, at the lower left corner, for everyone to see.
#include "Harness.h"

#include "AppKit/ImageDecoding.h"

#include <csignal>
#include <gtest/gtest.h>

namespace end_to_end {
namespace {

using testing_support::contentsOf;
using testing_support::waitUntil;

constexpr int screenWidth = 1200;
constexpr int screenHeight = 900;

// An X server that plays the user's desktop.
class Desktop {
public:
    Desktop()
        : server_("Xvfb", {"-displayfd", "1", "-nolisten", "tcp", "-noreset", "-screen", "0",
                           std::to_string(screenWidth) + "x" + std::to_string(screenHeight) + "x24"}),
          display_(":" + server_.readLine()) {}
    [[nodiscard]] const std::string& display() const { return display_; }

    [[nodiscard]] platform::NSBitmapImageRep screenshot() const {
        const TemporaryFolder folder;
        const auto shot =
            testing_support::run("import", {"-display", display_, "-window", "root", (folder / "screen.png").string()});
        const std::string bytes = contentsOf(folder / "screen.png");
        auto pages = platform::decodeImage(platform::charactersAsBytes(bytes));
        if (pages.empty())
            throw std::runtime_error("no screenshot: " + shot.errors);
        return pages[0];
    }

private:
    Process server_;
    std::string display_;
};

TEST(DevMode, ShowsThePageAtTheLowerLeftCornerOfTheScreenBehindOtherWindows) {
    const Desktop desktop;
    ASSERT_NE(desktop.display(), ":");
    Process other("display", {"-display", desktop.display(), "-geometry", "+400+400", "-size", "200x200", "xc:yellow"});
    const auto showsTheOther = [&] { return desktop.screenshot().pixelAt(500, 500) == 0xFFFFFF00; };
    ASSERT_TRUE(waitUntil(showsTheOther));
    Site::shared().forgetRequests();
    CaptureOptions options;
    options.preferences["DevMode"] = integer("1");
    options.process.environment = {
        {"DISPLAY", desktop.display()}, {"WAYLAND_DISPLAY", std::nullopt}, {"XAUTHORITY", std::nullopt}};
    // Its picture never comes, so the page stays.
    Capture capture(Site::shared().url("/bands-that-stay.html"), options);
    // The page's own rows run downwards from the window's top, 730 points above the screen's lower edge.
    const int top = screenHeight - 730;
    const auto showsThePage = [&] {
        const auto screen = desktop.screenshot();
        return screen.pixelAt(100, top + 100) == 0xFFFF0000 && screen.pixelAt(700, top + 100) == 0xFF00FF00 &&
               screen.pixelAt(0, top) == 0xFFFF0000 && screen.pixelAt(100, top + 500) == 0xFF0000FF &&
               screen.pixelAt(0, screenHeight - 1) == 0xFF000000 && screen.pixelAt(954, top + 300) == 0xFFFF00FF &&
               screen.pixelAt(955, top + 300) != 0xFFFF00FF && screen.pixelAt(100, top - 1) != 0xFFFF0000;
    };
    EXPECT_TRUE(waitUntil(showsThePage, std::chrono::seconds(20)));
    EXPECT_TRUE(showsTheOther());
    other.sendSignal(SIGTERM);
    capture.process().sendSignal(SIGTERM);
    capture.finish();
    EXPECT_TRUE(waitUntil([&] { return capture.processes("WebKitWebProcess").empty(); }));
}

TEST(DevMode, GivesTheSameRecord) {
    const Desktop desktop;
    CaptureOptions options;
    options.preferences["DevMode"] = integer("1");
    options.process.environment = {{"DISPLAY", desktop.display()},
                                   {"WAYLAND_DISPLAY", std::nullopt},
                                   {"XAUTHORITY", std::nullopt},
                                   {"GDK_SCALE", "2"}};
    Capture capture(Site::shared().url("/bands.html"), options);
    capture.finish();
    EXPECT_EQ(capture.result().status, 0);
    ASSERT_TRUE(capture.hasRecord()) << capture.result().errors;
    const auto picture = capture.picture();
    EXPECT_EQ(picture.pixelsWide(), 301);
    EXPECT_EQ(describe(picture.pixelAt(300, 0)), "0xFF00FF00");
    EXPECT_EQ(describe(picture.pixelAt(0, 225)), "0xFF0000FF");
}

TEST(DevMode, ANormalRunShowsNothingOnTheUsersDisplay) {
    const Desktop desktop;
    CaptureOptions options;
    options.process.environment = {
        {"DISPLAY", desktop.display()}, {"WAYLAND_DISPLAY", std::nullopt}, {"XAUTHORITY", std::nullopt}};
    const auto before = desktop.screenshot();
    Capture capture(Site::shared().url("/with-icon?href=/icons/icon.png?delay=1500"), options);
    EXPECT_TRUE(waitUntil([&] { return Site::shared().sawRequest("GET /icons/icon.png?delay=1500"); }));
    const auto during = desktop.screenshot();
    EXPECT_TRUE(std::equal(before.pixels().begin(), before.pixels().end(), during.pixels().begin()));
    capture.finish();
    EXPECT_EQ(capture.complaints().find("status"), std::string::npos) << capture.complaints();
    EXPECT_TRUE(capture.hasRecord());
}

} // namespace
} // namespace end_to_end
