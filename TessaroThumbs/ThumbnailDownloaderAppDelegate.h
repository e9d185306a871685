// The helper's one object: it launches the run, answers the web view, renders the page and writes the record.
// Main thread only.
#pragma once

#include "AppKit/NSApplication.h"
#include "Foundation/NSURL.h"
#include "TessaroThumbs/NSOffScreenWindow.h"
#include "WebKit/WebView.h"

namespace tessaro {

using platform::NSError;
using platform::NSImage;
using platform::NSPoint;
using platform::NSRect;
using platform::NSSize;
using platform::NSURL;
using platform::NSURLAuthenticationChallenge;
using platform::NSURLRequest;
using platform::String;
using platform::StringView;
using platform::WebDataSource;
using platform::WebFrame;
using platform::WebOpenPanelResultListener;
using platform::WebPolicyDecisionListener;
using platform::WebResourceIdentifier;
using platform::WebView;

class ThumbnailDownloaderAppDelegate : public platform::NSApplicationDelegate,
                                       public platform::WebFrameLoadDelegate,
                                       public platform::WebResourceLoadDelegate,
                                       public platform::WebPolicyDelegate,
                                       public platform::WebUIDelegate {
public:
    ThumbnailDownloaderAppDelegate() = default;
    ~ThumbnailDownloaderAppDelegate() override; // dealloc
    ThumbnailDownloaderAppDelegate(const ThumbnailDownloaderAppDelegate&) = delete;
    ThumbnailDownloaderAppDelegate& operator=(const ThumbnailDownloaderAppDelegate&) = delete;

    void applicationDidFinishLaunching(const platform::NSNotification& notification) override;

    // Fetches the site's touch icon into the medium image, which stays empty when there is none. Blocks for at most two
    // requests of ten seconds, made one after the other; nothing of the main loop runs meanwhile.
    void loadiPhoneIcons(const NSURL& url);
    // The image at that path of the page's site; absent when there is none. `path` begins with "/".
    [[nodiscard]] static std::optional<NSImage> loadImage_path(const NSURL& url, StringView path);

    // Renders the page, writes the record to standard output, closes it and terminates.
    void updateThumbnails();
    // Renders `viewRect` of the page, without the 50-point bands at its right and bottom, scaled to `thumbSize`, into
    // the field that `name` selects: "l", "m" or "s". Sizes in points.
    void saveThumb_usingViewRect_margin_thumbSize(StringView name, NSRect viewRect, NSPoint margin, NSSize thumbSize);

    // Frame loads
    void webView_didStartProvisionalLoadForFrame(WebView& view, WebFrame& frame) override;
    void webView_didFailProvisionalLoadWithError_forFrame(WebView& view, const NSError& error,
                                                          WebFrame& frame) override;
    void webView_didFailLoadWithError_forFrame(WebView& view, const NSError& error, WebFrame& frame) override;
    void webView_didFinishLoadForFrame(WebView& view, WebFrame& frame) override;
    void webView_didReceiveIcon_forFrame(WebView& view, const NSImage& icon, WebFrame& frame) override;

    // Resource loads
    void
    webView_resource_didReceiveAuthenticationChallenge_fromDataSource(WebView& view, WebResourceIdentifier resource,
                                                                      const NSURLAuthenticationChallenge& challenge,
                                                                      const WebDataSource* source) override;
    void webView_resource_didCancelAuthenticationChallenge_fromDataSource(WebView& view, WebResourceIdentifier resource,
                                                                          const NSURLAuthenticationChallenge& challenge,
                                                                          const WebDataSource* source) override;
    void webView_plugInFailedWithError_dataSource(WebView& view, const NSError& error,
                                                  const WebDataSource* source) override;

    // Policy
    void webView_decidePolicyForNavigationAction_request_frame_decisionListener(
        WebView& view, const NSURLRequest& request, WebFrame* frame, WebPolicyDecisionListener& listener) override;

    // User interface: nothing is ever shown
    [[nodiscard]] WebView* webView_createWebViewModalDialogWithRequest(WebView&, const NSURLRequest&) override;
    void webViewRunModal(WebView&) override;
    [[nodiscard]] bool webViewAreToolbarsVisible(WebView&) override;
    [[nodiscard]] bool webViewIsStatusBarVisible(WebView&) override;
    [[nodiscard]] bool webViewIsResizable(WebView&) override;
    void webView_setResizable(WebView&, bool) override;
    void webView_setFrame(WebView&, NSRect) override;
    void webView_runJavaScriptAlertPanelWithMessage_initiatedByFrame(WebView&, StringView, WebFrame*) override;
    [[nodiscard]] bool webView_runJavaScriptConfirmPanelWithMessage_initiatedByFrame(WebView&, StringView,
                                                                                     WebFrame*) override;
    [[nodiscard]] std::optional<String>
    webView_runJavaScriptTextInputPanelWithPrompt_defaultText_initiatedByFrame(WebView&, StringView, StringView,
                                                                               WebFrame*) override;
    [[nodiscard]] bool webView_runBeforeUnloadConfirmPanelWithMessage_initiatedByFrame(WebView&, StringView,
                                                                                       WebFrame*) override;
    void webView_runOpenPanelForFileButtonWithResultListener(WebView&, WebOpenPanelResultListener&) override;
    [[nodiscard]] bool webView_shouldPerformAction_fromSender(WebView&, StringView, const void*) override;

protected:
    // Never assigned: the failure line of a committed load prints it and so always reads "(null)". Readers of the log
    // know that line; it stays as it is.
    std::optional<NSURL> _url;
    NSRect _detailThumbRect;
    NSRect _listThumbRect; // set and not read: no list thumbnail is made
    NSSize _detailThumbSize;
    NSSize _listThumbSize;
    std::unique_ptr<WebView> _webView;
    std::unique_ptr<NSOffScreenWindow> _window;
    std::optional<NSImage> _smallIcon;
    std::optional<NSImage> _mediumIcon;
    std::optional<NSImage> _largeIcon;

private:
    void createWebView();
    void createWindow();
};

} // namespace tessaro
