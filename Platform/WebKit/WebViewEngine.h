// The web view's inside: the toolkit's view, its signals, the completion of a load, snapshots. Internal to this folder.
#pragma once

#include "WebKit/LoadCompletion.h"
#include "WebKit/PageEvents.h"
#include "WebKit/WebView.h"

#include <webkit2/webkit2.h>

namespace platform {

class WebView::Engine {
public:
    Engine(WebView& view, NSRect frame);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void setPreferences(const WebPreferences& preferences);
    void setUserAgent(StringView userAgent);
    void setFrame(NSRect frame);
    [[nodiscard]] NSRect frame() const { return frame_; }
    void load(const NSURLRequest& request);
    void close();
    void lockFocus();
    void unlockFocus();
    [[nodiscard]] WebKitWebView* view();

    bool endsPageWithPicture = false;
    WebFrameLoadDelegate* frameLoadDelegate = nullptr;
    WebResourceLoadDelegate* resourceLoadDelegate = nullptr;
    WebUIDelegate* uiDelegate = nullptr;
    WebPolicyDelegate* policyDelegate = nullptr;

    // What the engine's signals say and ask, see WebViewSignals.cpp.
    void report(PageEvent event, const NSError* error = nullptr);
    void challengeReceived(WebKitAuthenticationRequest* request); // the request stays alive
    void challengeCancelled(WebKitAuthenticationRequest* request);
    void loadStarted(const char* address);
    void loadRedirected(const char* address);
    void loadCommitted(const char* address);
    void loadFailed(PageEvent event, const NSError& error);
    void loadFinished();
    void resourceStarted(WebKitWebResource* resource, WebKitURIRequest* request);
    [[nodiscard]] bool decideNavigation(WebKitNavigationPolicyDecision* decision);
    void answerDialog(WebKitScriptDialog* dialog);
    void offerFileChooser(WebKitFileChooserRequest* request);

private:
    friend struct EngineSignals;

    void startWebProcess();
    void setProvisionalAddress(const char* address);
    void announceStart();
    void tellChallengeSoon();
    void reportChallenge(PageEvent event, WebKitAuthenticationRequest* request);
    void watchIconLoad(WebKitWebResource* resource, WebKitURIRequest* request);
    static void iconMayHaveMoved(WebKitWebResource* resource, WebKitURIRequest* request, WebKitURIResponse* redirect,
                                 Engine* engine);
    void awaitIcon(WebKitWebResource* resource);
    void watchCompletion();
    void askWebProcess();
    void completionIsDue();
    [[nodiscard]] std::optional<NSImage> currentIcon();
    [[nodiscard]] cairo_surface_t* snapshot();

    WebView& owner_;
    NSRect frame_;
    String userAgent_;
    WebKitWebView* view_ = nullptr;
    LoadCompletion completion_;
    LoadPhase phase_ = LoadPhase::Requested;
    std::string provisionalAddress_;
    bool startIsUnannounced_ = false;
    unsigned completionTimer_ = 0;
    unsigned challengeSource_ = 0;
    WebKitAuthenticationRequest* challenge_ = nullptr; // received and not told yet
    // The latest question's number: an older one's answer does not count, and none does once the view is gone.
    std::shared_ptr<unsigned> question_ = std::make_shared<unsigned>(0);
    bool networkProcessIsWatched_ = false;
    bool isClosed_ = false;
    // While a snapshot is awaited the engine's events go on; the delegate must not hear of them inside its own call.
    bool isBusy_ = false;
    WebResourceIdentifier lastResource_ = 0;
};

// Connects every signal of the view.
struct EngineSignals {
    static void connect(WebView::Engine& engine);
};

} // namespace platform
