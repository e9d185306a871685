#include "TessaroThumbs/ThumbnailDownloaderAppDelegate.h"

#include "Foundation/NSUserDefaults.h"
#include "TessaroThumbs/BuildInformation.h"
#include "TessaroThumbs/initWebIconDatabase.h"
#include "TessaroThumbs/isPreferenceSet.h"
#include "brimle/DRLogger.h"
#include "brimle/NSURL+Brimle.h"
#include "brimle/PLCrashSignalHandler.h"

namespace tessaro {
namespace {

using brimle::DRLogger;
using platform::NSUserDefaults;

// One fixed desktop browser on every system: what a site serves must not depend on where the helper runs.
constexpr StringView userAgent = u"Mozilla/5.0 (Macintosh; U; Intel Mac OS X 10_5_8; fi-fi) AppleWebKit/531.9 (KHTML, "
                                 u"like Gecko) Version/4.0.3 Safari/531.9";

// The band, in points, that a capture leaves out at the right and at the bottom.
constexpr double trimmedBand = 50;

} // namespace

void ThumbnailDownloaderAppDelegate::applicationDidFinishLaunching(const platform::NSNotification&) {
    (void)brimle::PLCrashSignalHandler::enableCrashReporterAndReturnError(nullptr); // without it the run goes on
    static const auto logFileName = std::make_shared<const String>(u"~/Library/Logs/Tessaro/TessaroThumbs.log");
    DRLogger::setFileName(logFileName);
    if (isPreferenceSet(u"VerboseThumbnailLogging"))
        DRLogger::logger()->log("Starting TessaroThumbs %s.%s #%s built %s %s", build::version, build::revision,
                                build::number, build::date, build::time);
    const auto address =
        NSUserDefaults::standardUserDefaults().volatileDomainForName(platform::NSArgumentDomain).stringForKey(u"url");
    const auto url = address ? brimle::br_URLWithString(*address) : std::nullopt;
    if (!url) {
        platform::NSApplication::sharedApplication().terminate(this);
        return;
    }
    initWebIconDatabase();
    _detailThumbRect = {{0, 0}, {955, 730}};
    _detailThumbSize = {301, 226};
    _listThumbSize = {64, 64};
    _listThumbRect = {{0, 0}, {_listThumbSize.width + trimmedBand, _listThumbSize.height + trimmedBand}};
    createWebView();
    createWindow();
    _smallIcon.reset();
    _mediumIcon.reset();
    _largeIcon.reset();
    loadiPhoneIcons(*url);
    _webView->mainFrame().loadRequest(NSURLRequest::requestWithURL(*url));
}

void ThumbnailDownloaderAppDelegate::createWebView() {
    _webView = std::make_unique<WebView>(_detailThumbRect);
    platform::WebPreferences preferences = _webView->preferences();
    preferences.setJavaEnabled(false);
    preferences.setPlugInsEnabled(true);
    preferences.setJavaScriptCanOpenWindowsAutomatically(false);
    preferences.setPrivateBrowsingEnabled(true);
    preferences.setAllowsAnimatedImages(false);
    preferences.setCacheModel(platform::WebCacheModelDocumentViewer);
    preferences.setAutosaves(false);
    _webView->setPreferences(preferences);
    _webView->setCustomUserAgent(userAgent);
    _webView->setMaintainsBackForwardList(false);
    _webView->setEndsPageWithPicture(true); // its process leaves while the record is made: 4 of 220 ms
    _webView->setFrameLoadDelegate(this);
    _webView->setResourceLoadDelegate(this);
    _webView->setUIDelegate(this);
    _webView->setPolicyDelegate(this);
}

void ThumbnailDownloaderAppDelegate::createWindow() {
    constexpr bool doNotDefer = false;
    _window = std::make_unique<NSOffScreenWindow>(_detailThumbRect, platform::NSBorderlessWindowMask,
                                                  platform::NSBackingStoreBuffered, doNotDefer);
    _window->setReleasedWhenClosed(true);
    _window->setAlphaValue(0.0);
    _window->addSubview(*_webView);
    if (isPreferenceSet(u"DevMode")) {
        _window->orderBack(this);
        _window->setAlphaValue(1.0);
    }
}

ThumbnailDownloaderAppDelegate::~ThumbnailDownloaderAppDelegate() {
    if (_webView) {
        _webView->close();
        _webView->setFrameLoadDelegate(nullptr);
        _webView->setResourceLoadDelegate(nullptr);
        _webView->setPolicyDelegate(nullptr);
        _webView->setUIDelegate(nullptr);
    }
    _webView.reset();
    _window.reset(); // marked to be released when closed too, but it is never closed
    _smallIcon.reset();
    _mediumIcon.reset();
    _largeIcon.reset();
}

} // namespace tessaro
