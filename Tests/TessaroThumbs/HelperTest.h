// One run of the helper's delegate, in this process, on the scripted platform: with a home of its own (preferences,
// log), arguments and a standard output that a test reads back.
#pragma once

#include "TessaroThumbs/ThumbnailDownloaderAppDelegate.h"
#include "TessaroThumbs/ThumbnailRecord.h"
#include "Tests/Support/ScriptedPlatform/Script.h"
#include "Tests/Support/TemporaryFolder.h"

#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tessaro {

using platform::Data;
using platform::DataView;
using scripted_platform::script;
using testing_support::TemporaryFolder;

// The delegate with its fields in sight.
class OpenDelegate : public ThumbnailDownloaderAppDelegate {
public:
    using ThumbnailDownloaderAppDelegate::_detailThumbRect;
    using ThumbnailDownloaderAppDelegate::_detailThumbSize;
    using ThumbnailDownloaderAppDelegate::_largeIcon;
    using ThumbnailDownloaderAppDelegate::_listThumbRect;
    using ThumbnailDownloaderAppDelegate::_listThumbSize;
    using ThumbnailDownloaderAppDelegate::_mediumIcon;
    using ThumbnailDownloaderAppDelegate::_smallIcon;
    using ThumbnailDownloaderAppDelegate::_url;
    using ThumbnailDownloaderAppDelegate::_webView;
    using ThumbnailDownloaderAppDelegate::_window;
};

// Makes another stream the standard output until the end of the scope: the test program's own reports go elsewhere.
class ReplacedStandardOutput {
public:
    explicit ReplacedStandardOutput(std::FILE* stream);
    ~ReplacedStandardOutput();
    ReplacedStandardOutput(const ReplacedStandardOutput&) = delete;
    ReplacedStandardOutput& operator=(const ReplacedStandardOutput&) = delete;

private:
    std::FILE* before_;
};

class HelperTest : public testing::Test {
protected:
    HelperTest();
    ~HelperTest() override;

    static constexpr const char* verbose = "VerboseThumbnailLogging";
    static constexpr const char* devMode = "DevMode";
    // Writes the main application's preferences; `value` is an element, "" takes the flag away.
    void setFlag(const std::string& flag, const std::string& value = "<integer>1</integer>");
    // The words behind the program's name.
    static void setArguments(const std::vector<std::string>& words);

    // Launches with "-url" and forgets the calls of the launch.
    void launchOrdinaryRun(const std::vector<std::string>& moreArguments = {});
    void launch();

    // What `action` leaves on standard output.
    std::string outputOf(const std::function<void()>& action);
    std::string outputOfUpdateThumbnails();

    [[nodiscard]] WebView& view() { return *delegate->_webView; }
    [[nodiscard]] WebFrame& mainFrame() { return view().mainFrame(); }
    [[nodiscard]] WebFrame& otherFrame();

    [[nodiscard]] std::filesystem::path logFile() const {
        return home.path() / "Library/Logs/Tessaro/TessaroThumbs.log";
    }
    // The lines of the log without the one that opens it; none when there is no log.
    [[nodiscard]] std::vector<std::string> logged() const;
    void forgetLog() const;

    TemporaryFolder home;
    testing_support::EnvironmentVariable homeVariable{"HOME", home.path().c_str()};
    std::unique_ptr<OpenDelegate> delegate = std::make_unique<OpenDelegate>();

private:
    std::map<std::string, std::string> flags_;
    std::unique_ptr<WebFrame> otherFrame_;
};

// An image of one colour.
[[nodiscard]] NSImage plainImage(int wide, int high, platform::NSBitmapImageRep::Pixel pixel);

// The record that `output` is from its first to its last byte; a test failure and an empty one otherwise.
struct ReadRecord {
    std::string identifier;
    Data large, medium, small;
};
[[nodiscard]] ReadRecord recordIn(const std::string& output);

} // namespace tessaro
