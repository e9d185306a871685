#include "HelperTest.h"

#include "AppKit/NSGraphicsContext.h"
#include "Foundation/NSObjCRuntime.h"
#include "Foundation/NSUserDefaults.h"
#include "Foundation/StandardOutput.h"
#include "TessaroThumbs/isPreferenceSet.h"
#include "Tests/Support/LogFile.h"
#include "brimle/DRLogger.h"

namespace tessaro {

using brimle::DRLogger;

ReplacedStandardOutput::ReplacedStandardOutput(std::FILE* stream) : before_(platform::standardOutput()) {
    std::fflush(stdout);
    platform::replaceStandardOutput(stream);
}

ReplacedStandardOutput::~ReplacedStandardOutput() {
    if (std::FILE* stream = platform::standardOutput())
        std::fclose(stream);
    platform::replaceStandardOutput(before_);
}

HelperTest::HelperTest() {
    DRLogger::shutdown();
    script() = {};
    script().names[delegate.get()] = "the delegate";
    platform::registerClass(u"WebIconDatabase", [](StringView selector) {
        scripted_platform::call("WebIconDatabase " + platform::lossyUTF8String(selector));
    });
}

HelperTest::~HelperTest() {
    delegate.reset();
    script() = {};
    DRLogger::shutdown();
    DRLogger::setFileName(nullptr);
    setArguments({});
    platform::registerClass(u"WebIconDatabase", {});
    platform::NSGraphicsContext::setCurrentContext(nullptr);
}

void HelperTest::setFlag(const std::string& flag, const std::string& value) {
    flags_[flag] = value;
    std::string list = "<plist version=\"1.0\"><dict>";
    for (const auto& [key, element] : flags_)
        if (!element.empty())
            list.append("<key>").append(key).append("</key>").append(element);
    testing_support::write(home.path() / "Library/Preferences" /
                               (platform::lossyUTF8String(applicationIdentifier) + ".plist"),
                           list + "</dict></plist>");
}

void HelperTest::setArguments(const std::vector<std::string>& words) {
    std::vector<const char*> pointers{"TessaroThumbs"};
    for (const std::string& word : words)
        pointers.push_back(word.c_str());
    platform::NSUserDefaults::standardUserDefaults().setArguments(pointers);
}

void HelperTest::launch() {
    delegate->applicationDidFinishLaunching({u"NSApplicationDidFinishLaunchingNotification"});
}

void HelperTest::launchOrdinaryRun(const std::vector<std::string>& moreArguments) {
    std::vector<std::string> arguments{"-url", "http://page.example/"};
    arguments.insert(arguments.end(), moreArguments.begin(), moreArguments.end());
    setArguments(arguments);
    launch();
    ASSERT_TRUE(delegate->_webView);
    script().calls.clear();
}

std::string HelperTest::outputOf(const std::function<void()>& action) {
    const std::filesystem::path file = home.path() / "output";
    {
        const ReplacedStandardOutput replaced(std::fopen(file.c_str(), "w"));
        action();
    }
    std::string output = testing_support::contentsOf(file);
    std::filesystem::remove(file);
    return output;
}

std::string HelperTest::outputOfUpdateThumbnails() {
    return outputOf([this] { delegate->updateThumbnails(); });
}

WebFrame& HelperTest::otherFrame() {
    if (!otherFrame_)
        otherFrame_ = std::make_unique<WebFrame>(view());
    return *otherFrame_;
}

std::vector<std::string> HelperTest::logged() const {
    std::vector<std::string> messages = testing_support::messagesOfLog(testing_support::contentsOf(logFile()));
    if (!messages.empty()) {
        EXPECT_EQ(messages.front(), "== Opening log session ==");
        messages.erase(messages.begin());
    }
    return messages;
}

void HelperTest::forgetLog() const {
    DRLogger::shutdown();
    std::filesystem::remove(logFile());
}

NSImage plainImage(int wide, int high, platform::NSBitmapImageRep::Pixel pixel) {
    platform::NSBitmapImageRep bitmap(wide, high);
    for (auto& each : bitmap.pixels())
        each = pixel;
    NSImage image = NSImage::initWithSize({static_cast<double>(wide), static_cast<double>(high)});
    image.addRepresentation(std::make_shared<const platform::NSBitmapImageRep>(std::move(bitmap)));
    return image;
}

ReadRecord recordIn(const std::string& output) {
    std::optional<NSError> error;
    const auto record = readThumbnailRecord(platform::charactersAsBytes(output), &error);
    if (!record) {
        ADD_FAILURE() << platform::lossyUTF8String(error->localizedDescription());
        return {};
    }
    const auto copy = [](DataView bytes) { return Data(bytes.begin(), bytes.end()); };
    return {std::string(platform::bytesAsCharacters(record->identifier)), copy(record->large), copy(record->medium),
            copy(record->small)};
}

} // namespace tessaro
