// What the web view asks and tells its delegates. Every call arrives on the main thread from the event loop, never
// while the delegate is inside another call of the view. The defaults are the engine's own: nothing happens, nothing is
// shown.
#pragma once

#include "AppKit/NSImage.h"
#include "Foundation/NSError.h"
#include "Foundation/NSGeometry.h"
#include "Foundation/NSURLRequest.h"

#include <functional>

namespace platform {

class WebFrame;
class WebView;

// A sub-resource or document of a page, by the number that the engine adapter gave it.
using WebResourceIdentifier = unsigned long;

// Where the data of a frame come from.
class WebDataSource {
public:
    explicit WebDataSource(NSURLRequest request) : request_(std::move(request)) {}
    [[nodiscard]] const NSURLRequest& request() const { return request_; }

private:
    NSURLRequest request_;
};

struct NSURLProtectionSpace {
    std::optional<String> realm;
};

// A server's or proxy's wish for credentials. Nobody in this process answers one.
struct NSURLAuthenticationChallenge {
    NSURLProtectionSpace protectionSpace;
};

// The engine waits for one call of `use`; a listener that is never told leaves the navigation to the engine's default.
struct WebPolicyDecisionListener {
    std::function<void()> use;
};

// Told the chosen file, or that none was chosen; one that is never told keeps the page waiting without a panel.
struct WebOpenPanelResultListener {
    std::function<void(StringView path)> chooseFilename;
    std::function<void()> cancel;
};

class WebFrameLoadDelegate {
public:
    virtual ~WebFrameLoadDelegate() = default;
    virtual void webView_didStartProvisionalLoadForFrame(WebView&, WebFrame&) {}
    virtual void webView_didFailProvisionalLoadWithError_forFrame(WebView&, const NSError&, WebFrame&) {}
    virtual void webView_didFailLoadWithError_forFrame(WebView&, const NSError&, WebFrame&) {}
    virtual void webView_didFinishLoadForFrame(WebView&, WebFrame&) {}
    virtual void webView_didReceiveIcon_forFrame(WebView&, const NSImage&, WebFrame&) {}
};

class WebResourceLoadDelegate {
public:
    virtual ~WebResourceLoadDelegate() = default;
    virtual void webView_resource_didReceiveAuthenticationChallenge_fromDataSource(WebView&, WebResourceIdentifier,
                                                                                   const NSURLAuthenticationChallenge&,
                                                                                   const WebDataSource*) {}
    virtual void webView_resource_didCancelAuthenticationChallenge_fromDataSource(WebView&, WebResourceIdentifier,
                                                                                  const NSURLAuthenticationChallenge&,
                                                                                  const WebDataSource*) {}
    virtual void webView_plugInFailedWithError_dataSource(WebView&, const NSError&, const WebDataSource*) {}
};

class WebPolicyDelegate {
public:
    virtual ~WebPolicyDelegate() = default;
    virtual void webView_decidePolicyForNavigationAction_request_frame_decisionListener(WebView&, const NSURLRequest&,
                                                                                        WebFrame*,
                                                                                        WebPolicyDecisionListener&) {}
};

class WebUIDelegate {
public:
    virtual ~WebUIDelegate() = default;
    // Null: the page gets no dialog view.
    [[nodiscard]] virtual WebView* webView_createWebViewModalDialogWithRequest(WebView&, const NSURLRequest&) {
        return nullptr;
    }
    virtual void webViewRunModal(WebView&) {}
    [[nodiscard]] virtual bool webViewAreToolbarsVisible(WebView&) { return false; }
    [[nodiscard]] virtual bool webViewIsStatusBarVisible(WebView&) { return false; }
    [[nodiscard]] virtual bool webViewIsResizable(WebView&) { return false; }
    virtual void webView_setResizable(WebView&, bool) {}
    virtual void webView_setFrame(WebView&, NSRect) {}
    virtual void webView_runJavaScriptAlertPanelWithMessage_initiatedByFrame(WebView&, StringView, WebFrame*) {}
    [[nodiscard]] virtual bool webView_runJavaScriptConfirmPanelWithMessage_initiatedByFrame(WebView&, StringView,
                                                                                             WebFrame*) {
        return false;
    }
    // Absent: as if the user cancelled.
    [[nodiscard]] virtual std::optional<String>
    webView_runJavaScriptTextInputPanelWithPrompt_defaultText_initiatedByFrame(WebView&, StringView, StringView,
                                                                               WebFrame*) {
        return std::nullopt;
    }
    [[nodiscard]] virtual bool webView_runBeforeUnloadConfirmPanelWithMessage_initiatedByFrame(WebView&, StringView,
                                                                                               WebFrame*) {
        return false;
    }
    virtual void webView_runOpenPanelForFileButtonWithResultListener(WebView&, WebOpenPanelResultListener&) {}
    [[nodiscard]] virtual bool webView_shouldPerformAction_fromSender(WebView&, StringView, const void*) {
        return false;
    }
};

} // namespace platform
