// Launch and teardown.
#include "HelperTest.h"

#include "Foundation/NSException.h"
#include "Foundation/NSObjCRuntime.h"
#include "TessaroThumbs/BuildInformation.h"
#include "brimle/DRLogger.h"

#include <stdexcept>

namespace tessaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* installsHandler = "PLCrashSignalHandler enableCrashReporterAndReturnError null";

class Launch : public HelperTest {};

constexpr const char* userAgent = "Mozilla/5.0 (Macintosh; U; Intel Mac OS X 10_5_8; fi-fi) AppleWebKit/531.9 (KHTML, "
                                  "like Gecko) Version/4.0.3 Safari/531.9";

TEST_F(Launch, TakesItsStepsInOrder) {
    setArguments({"-url", "http://page.example/path?q=1", "-uuid", "id"});
    launch();
    EXPECT_THAT(script().calls,
                ElementsAre(installsHandler, "WebIconDatabase sharedIconDatabase",
                            // the view
                            "WebView initWithFrame (0, 0, 955, 730)", "WebPreferences setJavaEnabled NO",
                            "WebPreferences setPlugInsEnabled YES",
                            "WebPreferences setJavaScriptCanOpenWindowsAutomatically NO",
                            "WebPreferences setPrivateBrowsingEnabled YES", "WebPreferences setAllowsAnimatedImages NO",
                            "WebPreferences setCacheModel 0", "WebPreferences setAutosaves NO",
                            "WebView setPreferences", std::string("WebView setCustomUserAgent ") + userAgent,
                            "WebView setMaintainsBackForwardList NO", "WebView setEndsPageWithPicture YES",
                            "WebView setFrameLoadDelegate the delegate", "WebView setResourceLoadDelegate the delegate",
                            "WebView setUIDelegate the delegate", "WebView setPolicyDelegate the delegate",
                            // the window
                            "NSWindow initWithContentRect (0, 0, 955, 730) styleMask 0 backing 2 defer NO",
                            "NSWindow setReleasedWhenClosed YES", "NSWindow setAlphaValue 0",
                            "NSWindow addSubview the view", "NSWindow setFrameOrigin (-8000, 8000)",
                            // the page; a plain request: the platform's own policy and time-out
                            "WebFrame loadRequest http://page.example/path?q=1 cachePolicy 0 timeout 60"));
}

TEST_F(Launch, TheSignalHandlerComesBeforeTheLogHasAName) {
    setArguments({"-url", "http://page.example/"});
    bool isNamed = true;
    script().during["PLCrashSignalHandler enableCrashReporterAndReturnError"] = [&] {
        isNamed = brimle::DRLogger::logger()->filename != nullptr;
    };
    launch();
    EXPECT_FALSE(isNamed);
    EXPECT_TRUE(std::filesystem::exists(logFile())) << "named during the launch, and so opened";
}

TEST_F(Launch, DevModeOrdersTheWindowBackAndThenMakesItOpaque) {
    setFlag(devMode);
    setArguments({"-url", "http://page.example/"});
    launch();
    const auto& calls = script().calls;
    const auto window = std::find_if(calls.begin(), calls.end(),
                                     [](const std::string& call) { return call.starts_with("NSWindow init"); });
    EXPECT_THAT(std::vector<std::string>(window, calls.end()),
                ElementsAre("NSWindow initWithContentRect (0, 0, 955, 730) styleMask 0 backing 2 defer NO",
                            "NSWindow setReleasedWhenClosed YES", "NSWindow setAlphaValue 0",
                            "NSWindow addSubview the view", "NSWindow setFrameOrigin (0, 0)",
                            "NSWindow orderBack the delegate", "NSWindow setFrameOrigin (0, 0)",
                            "NSWindow setAlphaValue 1",
                            "WebFrame loadRequest http://page.example/ cachePolicy 0 timeout 60"));
}

TEST_F(Launch, SetsTheViewsPreferences) {
    launchOrdinaryRun();
    const platform::WebPreferences preferences = view().preferences();
    EXPECT_FALSE(preferences.isJavaEnabled());
    EXPECT_TRUE(preferences.arePlugInsEnabled());
    EXPECT_FALSE(preferences.javaScriptCanOpenWindowsAutomatically());
    EXPECT_TRUE(preferences.privateBrowsingEnabled());
    EXPECT_FALSE(preferences.allowsAnimatedImages());
    EXPECT_EQ(preferences.cacheModel(), platform::WebCacheModelDocumentViewer);
    EXPECT_FALSE(preferences.autosaves());
}

TEST_F(Launch, SetsTheGeometryAndLeavesTheAddressFieldAlone) {
    launchOrdinaryRun();
    EXPECT_EQ(delegate->_detailThumbRect, platform::NSMakeRect(0, 0, 955, 730));
    EXPECT_EQ(delegate->_detailThumbSize, (NSSize{301, 226}));
    EXPECT_EQ(delegate->_listThumbSize, (NSSize{64, 64}));
    EXPECT_EQ(delegate->_listThumbRect, platform::NSMakeRect(0, 0, 114, 114));
    EXPECT_FALSE(delegate->_url);
}

TEST_F(Launch, BeginsWithoutIcons) {
    delegate->_smallIcon = delegate->_mediumIcon = delegate->_largeIcon = plainImage(2, 2, 0xFF00FF00);
    launchOrdinaryRun();
    EXPECT_FALSE(delegate->_smallIcon);
    EXPECT_FALSE(delegate->_mediumIcon);
    EXPECT_FALSE(delegate->_largeIcon);
}

struct AddressRow {
    const char* name;
    std::vector<std::string> arguments;
    const char* loaded; // null: the run ends at once
};

const AddressRow addresses[] = {
    {"no arguments", {}, nullptr},
    {"an identifier alone", {"-uuid", "id"}, nullptr},
    {"an empty address", {"-url", ""}, nullptr},
    {"an empty address and an identifier", {"-url", "", "-uuid", "id"}, nullptr},
    {"the key alone", {"-url"}, nullptr},
    {"a key in place of the value", {"-url", "-uuid", "id"}, nullptr},
    {"a positional argument", {"http://page.example/"}, nullptr},
    {"two dashes", {"--url", "http://page.example/"}, nullptr},
    {"another case", {"-URL", "http://page.example/"}, nullptr},
    {"an array in text form", {"-url", "(http://page.example/)"}, nullptr},
    {"a dictionary in text form", {"-url", "{url=http://page.example/;}"}, nullptr},
    {"data in text form", {"-url", "<687474703a2f2f>"}, nullptr},
    {"an XML property list", {"-url", "<string>http://page.example/</string>"}, nullptr},
    {"the last value counts, a list", {"-url", "http://page.example/", "-url", "(x)"}, nullptr},
    {"the last value counts",
     {"-url", "http://first.example/", "-url", "http://last.example/"},
     "http://last.example/"},
    {"a whole address", {"-url", "http://page.example/a/b?c=d"}, "http://page.example/a/b?c=d"},
    {"https", {"-url", "https://page.example/"}, "https://page.example/"},
    {"a bare host", {"-url", "page.example"}, "http://page.example"},
    {"behind other words", {"word", "-x", "y", "-uuid", "id", "-url", "http://page.example/"}, "http://page.example/"},
};

class Address : public Launch, public testing::WithParamInterface<AddressRow> {};

TEST_P(Address, IsLoadedOrEndsTheRun) {
    const AddressRow& row = GetParam();
    SCOPED_TRACE(row.name);
    setArguments(row.arguments);
    const std::string output = outputOf([this] { launch(); });
    EXPECT_EQ(output, "");
    if (!row.loaded) {
        EXPECT_THAT(script().calls, ElementsAre(installsHandler, "NSApplication terminate the delegate"));
        EXPECT_FALSE(delegate->_webView);
        EXPECT_FALSE(delegate->_window);
    } else {
        EXPECT_EQ(script().calls.back(),
                  std::string("WebFrame loadRequest ") + row.loaded + " cachePolicy 0 timeout 60");
        EXPECT_FALSE(script().wasCalled("NSApplication terminate"));
    }
    EXPECT_TRUE(std::filesystem::is_empty(home.path())) << "a quiet run makes neither file nor folder";
}

INSTANTIATE_TEST_SUITE_P(Rows, Address, testing::ValuesIn(addresses));

std::string banner() {
    return std::string("Starting TessaroThumbs 3.6.0 #31043 built ") + build::date + " " + build::time;
}

TEST_F(Launch, AnEmptyEnvironmentVariableOrStoredValueIsNoAddress) {
    const testing_support::EnvironmentVariable variable("url", "http://page.example/");
    setFlag("url", "<string>http://page.example/</string>");
    setFlag("-url", "<string>http://page.example/</string>");
    launch();
    EXPECT_THAT(script().calls, ElementsAre(installsHandler, "NSApplication terminate the delegate"));
}

TEST_F(Launch, TheBannerIsTheFirstLine) {
    setFlag(verbose);
    setArguments({"-url", "http://page.example/"});
    std::vector<std::string> before;
    script().during["WebIconDatabase sharedIconDatabase"] = [&] { before = logged(); };
    launch();
    EXPECT_THAT(before, ElementsAre(banner()));
    EXPECT_THAT(logged(), ElementsAre(banner(), "Trying: 'http://page.example/apple-touch-icon-precomposed.png'",
                                      "Trying: 'http://page.example/apple-touch-icon.png'"));
    EXPECT_STREQ(build::version, "3.6");
    EXPECT_STREQ(build::revision, "0");
    EXPECT_STREQ(build::number, "31043");
    EXPECT_THAT(build::date, testing::MatchesRegex("[A-Z][a-z][a-z] [ 123][0-9] [0-9][0-9][0-9][0-9]"));
    EXPECT_THAT(build::time, testing::MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
}

TEST_F(Launch, WithoutAUsableAddressTheBannerIsTheOnlyLine) {
    for (const AddressRow& row : addresses) {
        if (row.loaded)
            continue;
        script().calls.clear();
        forgetLog();
        setFlag(verbose);
        setArguments(row.arguments);
        EXPECT_EQ(outputOf([this] { launch(); }), "") << row.name;
        EXPECT_THAT(logged(), ElementsAre(banner())) << row.name;
        EXPECT_THAT(script().calls, ElementsAre(installsHandler, "NSApplication terminate the delegate")) << row.name;
    }
}

struct FlagRow {
    const char* value;
    bool set;
};

TEST_F(Launch, AFlagIsSetByAPositiveIntegerOnly) {
    const FlagRow rows[] = {{"", false},
                            {"<integer>1</integer>", true},
                            {"<integer>0</integer>", false},
                            {"<integer>-1</integer>", false},
                            {"<string>1</string>", false},
                            {"<integer>4294967296</integer>", false},
                            {"<integer>4294967297</integer>", true}};
    for (const FlagRow& row : rows) {
        script().calls.clear();
        forgetLog();
        setFlag(verbose, row.value);
        setFlag(devMode, row.value);
        setArguments({"-url", "http://page.example/"});
        launch();
        EXPECT_EQ(std::filesystem::exists(logFile()), row.set) << row.value;
        EXPECT_EQ(script().wasCalled("NSWindow orderBack"), row.set) << row.value;
    }
}

TEST_F(Launch, APlatformWithoutSiteIconsGoesOn) {
    platform::registerClass(u"WebIconDatabase", {});
    setArguments({"-url", "http://page.example/"});
    launch();
    ASSERT_GT(script().calls.size(), 1u);
    EXPECT_EQ(script().calls[1], "WebView initWithFrame (0, 0, 955, 730)");
    EXPECT_TRUE(script().wasCalled("WebFrame loadRequest"));
}

TEST_F(Launch, APlatformExceptionOfTheIconDatabaseIsSwallowed) {
    platform::registerClass(u"WebIconDatabase",
                            [](StringView) { throw platform::NSException(u"NSGenericException", u"no icons"); });
    setArguments({"-url", "http://page.example/"});
    setFlag(verbose);
    launch();
    EXPECT_TRUE(script().wasCalled("WebFrame loadRequest"));
    EXPECT_THAT(logged(), ElementsAre(banner(), "Trying: 'http://page.example/apple-touch-icon-precomposed.png'",
                                      "Trying: 'http://page.example/apple-touch-icon.png'"));
}

TEST_F(Launch, AnyOtherExceptionOfTheIconDatabasePropagatesBeforeThereIsAView) {
    platform::registerClass(u"WebIconDatabase", [](StringView) { throw std::runtime_error("not the platform's"); });
    setArguments({"-url", "http://page.example/"});
    EXPECT_THROW(launch(), std::runtime_error);
    EXPECT_THAT(script().calls, ElementsAre(installsHandler));
    EXPECT_FALSE(delegate->_webView);
}

TEST_F(Launch, FlagsAreReadAfreshDuringTheRun) {
    setArguments({"-url", "http://page.example/"});
    // The window is parked while it is filled and shown once the flag has come.
    script().during["NSWindow addSubview"] = [this] { setFlag(devMode); };
    script().during["NSWindow setAlphaValue"] = [this] { setFlag(devMode, ""); };
    launch();
    EXPECT_THAT(std::vector<std::string>(script().calls.end() - 6, script().calls.end()),
                ElementsAre("NSWindow addSubview the view", "NSWindow setFrameOrigin (0, 0)",
                            "NSWindow orderBack the delegate", "NSWindow setFrameOrigin (0, 0)",
                            "NSWindow setAlphaValue 1",
                            "WebFrame loadRequest http://page.example/ cachePolicy 0 timeout 60"));
    script().calls.clear();
    delegate->_window->setFrameOrigin({10, 20});
    EXPECT_THAT(script().calls, ElementsAre("NSWindow setFrameOrigin (-8000, 8000)"));
}

// Writes its release down among the platform's calls.
class CountedRepresentation : public platform::NSImageRep {
public:
    explicit CountedRepresentation(std::string name) : NSImageRep(1, 1), name_(std::move(name)) {}
    ~CountedRepresentation() override { scripted_platform::call("NSImage release", name_); }
    CountedRepresentation(const CountedRepresentation&) = delete;
    CountedRepresentation& operator=(const CountedRepresentation&) = delete;
    [[nodiscard]] std::shared_ptr<const platform::NSBitmapImageRep> rendered() const override { return nullptr; }

private:
    std::string name_;
};

NSImage countedImage(const std::string& name) {
    NSImage image = NSImage::initWithSize({1, 1});
    image.addRepresentation(std::make_shared<const CountedRepresentation>(name));
    return image;
}

class Teardown : public HelperTest {};

TEST_F(Teardown, LetsGoInOrder) {
    launchOrdinaryRun();
    delegate->_largeIcon = countedImage("large");
    delegate->_mediumIcon = countedImage("medium");
    delegate->_smallIcon = countedImage("small");
    script().calls.clear();
    delegate.reset();
    EXPECT_THAT(script().calls,
                ElementsAre("WebView close", "WebView setFrameLoadDelegate null",
                            "WebView setResourceLoadDelegate null", "WebView setPolicyDelegate null",
                            "WebView setUIDelegate null", "WebView release", "NSWindow release",
                            "NSImage release small", "NSImage release medium", "NSImage release large"));
}

TEST_F(Teardown, OfARunThatEndedAtLaunchTouchesNothing) {
    launch();
    script().calls.clear();
    delegate.reset();
    EXPECT_THAT(script().calls, IsEmpty());
}

} // namespace
} // namespace tessaro
