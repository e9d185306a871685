// What the delegate answers while the page loads. Nothing is shown whatever a page asks for; the run ends with the main
// frame's finish, with its failure, or with a challenge.
#include "TessaroThumbs/ThumbnailDownloaderAppDelegate.h"
#include "TessaroThumbs/isPreferenceSet.h"
#include "brimle/DRLogger.h"

namespace tessaro {
namespace {

using brimle::DRLogger;

bool isVerbose() {
    return isPreferenceSet(u"VerboseThumbnailLogging");
}

std::optional<String> provisionalAddress(const WebFrame& frame) {
    const auto& source = frame.provisionalDataSource();
    return source ? std::optional(source->request().URL().absoluteString()) : std::nullopt;
}

void terminate(const ThumbnailDownloaderAppDelegate* sender) {
    platform::NSApplication::sharedApplication().terminate(sender);
}

} // namespace

void ThumbnailDownloaderAppDelegate::webView_didStartProvisionalLoadForFrame(WebView& view, WebFrame& frame) {
    if (&frame == &view.mainFrame() && isVerbose())
        DRLogger::logger()->log("Loading: '%@'", provisionalAddress(frame));
}

// Ends the run whatever the error, a cancelled load included: before the commit there is no redirection through script
// that would bring another load.
void ThumbnailDownloaderAppDelegate::webView_didFailProvisionalLoadWithError_forFrame(WebView& view, const NSError&,
                                                                                      WebFrame& frame) {
    if (&frame != &view.mainFrame())
        return;
    if (isVerbose())
        DRLogger::logger()->log("Failed to process '%@'", provisionalAddress(frame));
    terminate(this);
}

void ThumbnailDownloaderAppDelegate::webView_didFailLoadWithError_forFrame(WebView& view, const NSError& error,
                                                                           WebFrame& frame) {
    if (&frame != &view.mainFrame())
        return;
    if (error.code() == platform::NSURLErrorCancelled) {
        if (isVerbose())
            DRLogger::logger()->log("Received NSURLErrorCancelled, probably a redirect");
        return; // the next load is on its way
    }
    if (isVerbose())
        DRLogger::logger()->log("Failed to process '%@'", _url);
    terminate(this);
}

void ThumbnailDownloaderAppDelegate::webView_didFinishLoadForFrame(WebView& view, WebFrame& frame) {
    if (&frame != &view.mainFrame())
        return;
    if (isVerbose())
        DRLogger::logger()->log("webView:didFinishForFrame:");
    updateThumbnails();
}

void ThumbnailDownloaderAppDelegate::webView_didReceiveIcon_forFrame(WebView& view, const NSImage& icon,
                                                                     WebFrame& frame) {
    if (&frame == &view.mainFrame())
        _smallIcon = icon;
}

// Never answered, on whatever resource of the page: what the view shows at this moment is the picture.
void ThumbnailDownloaderAppDelegate::webView_resource_didReceiveAuthenticationChallenge_fromDataSource(
    WebView&, WebResourceIdentifier, const NSURLAuthenticationChallenge& challenge, const WebDataSource*) {
    if (isVerbose())
        DRLogger::logger()->log("didReceiveAuthenticationChallenge: %@", challenge.protectionSpace.realm);
    updateThumbnails();
}

void ThumbnailDownloaderAppDelegate::webView_resource_didCancelAuthenticationChallenge_fromDataSource(
    WebView&, WebResourceIdentifier, const NSURLAuthenticationChallenge& challenge, const WebDataSource*) {
    if (isVerbose())
        DRLogger::logger()->log("didCancelAuthenticationChallenge: %@", challenge.protectionSpace.realm);
}

void ThumbnailDownloaderAppDelegate::webView_plugInFailedWithError_dataSource(WebView&, const NSError& error,
                                                                              const WebDataSource*) {
    if (isVerbose())
        DRLogger::logger()->log("plugInFailedWithError '%@'", error);
    terminate(this);
}

void ThumbnailDownloaderAppDelegate::webView_decidePolicyForNavigationAction_request_frame_decisionListener(
    WebView&, const NSURLRequest&, WebFrame*, WebPolicyDecisionListener& listener) {
    listener.use();
}

WebView* ThumbnailDownloaderAppDelegate::webView_createWebViewModalDialogWithRequest(WebView&, const NSURLRequest&) {
    return nullptr;
}

void ThumbnailDownloaderAppDelegate::webViewRunModal(WebView&) {}

bool ThumbnailDownloaderAppDelegate::webViewAreToolbarsVisible(WebView&) {
    return false;
}

bool ThumbnailDownloaderAppDelegate::webViewIsStatusBarVisible(WebView&) {
    return false;
}

bool ThumbnailDownloaderAppDelegate::webViewIsResizable(WebView&) {
    return false;
}

void ThumbnailDownloaderAppDelegate::webView_setResizable(WebView&, bool) {}

void ThumbnailDownloaderAppDelegate::webView_setFrame(WebView&, NSRect) {}

void ThumbnailDownloaderAppDelegate::webView_runJavaScriptAlertPanelWithMessage_initiatedByFrame(WebView&, StringView,
                                                                                                 WebFrame*) {}

bool ThumbnailDownloaderAppDelegate::webView_runJavaScriptConfirmPanelWithMessage_initiatedByFrame(WebView&, StringView,
                                                                                                   WebFrame*) {
    return false;
}

// The empty text, not the page's default and not a cancelled panel.
std::optional<String>
ThumbnailDownloaderAppDelegate::webView_runJavaScriptTextInputPanelWithPrompt_defaultText_initiatedByFrame(WebView&,
                                                                                                           StringView,
                                                                                                           StringView,
                                                                                                           WebFrame*) {
    return String();
}

bool ThumbnailDownloaderAppDelegate::webView_runBeforeUnloadConfirmPanelWithMessage_initiatedByFrame(WebView&,
                                                                                                     StringView,
                                                                                                     WebFrame*) {
    return false;
}

// The listener is never told anything: neither a file nor a cancelled choice reaches the page.
void ThumbnailDownloaderAppDelegate::webView_runOpenPanelForFileButtonWithResultListener(WebView&,
                                                                                         WebOpenPanelResultListener&) {}

bool ThumbnailDownloaderAppDelegate::webView_shouldPerformAction_fromSender(WebView&, StringView, const void*) {
    return false;
}

} // namespace tessaro
