// A page view on a real browser engine. Main thread only.
//
// The engine runs in processes of its own: what it tells is reported by its signals and turned into the delegates'
// calls by one table (PageEvents.h); when a load counts as finished is decided in one place (LoadCompletion.h).
#pragma once

#include "AppKit/NSView.h"
#include "WebKit/WebDelegates.h"
#include "WebKit/WebPreferences.h"

#include <memory>

namespace platform {

// The top-level frame of a view. Sub-frames of the engine are not reported by it and have no object here.
class WebFrame {
public:
    explicit WebFrame(WebView& view) : view_(view) {}

    // Starts a load; its course is told to the view's frame-load delegate.
    void loadRequest(const NSURLRequest& request);
    // The load that has begun and not yet committed (or failed); absent otherwise.
    [[nodiscard]] const std::optional<WebDataSource>& provisionalDataSource() const { return provisionalDataSource_; }
    void setProvisionalDataSource(std::optional<WebDataSource> source) { provisionalDataSource_ = std::move(source); }

private:
    WebView& view_;
    std::optional<WebDataSource> provisionalDataSource_;
};

class WebView final : public NSView {
public:
    explicit WebView(NSRect frame);
    ~WebView() override;

    [[nodiscard]] WebPreferences preferences() const { return preferences_; }
    // Preferences count from the first load on; later changes of privacy and cache have no effect.
    void setPreferences(const WebPreferences& preferences);
    void setCustomUserAgent(StringView userAgent);
    void setMaintainsBackForwardList(bool flag);
    // The page is needed for one picture only: its process ends when the focus is unlocked, and nothing more is told of
    // it. Default: it lives on.
    void setEndsPageWithPicture(bool flag);

    // Not owned; null means the engine's defaults.
    void setFrameLoadDelegate(WebFrameLoadDelegate* delegate);
    void setResourceLoadDelegate(WebResourceLoadDelegate* delegate);
    void setUIDelegate(WebUIDelegate* delegate);
    void setPolicyDelegate(WebPolicyDelegate* delegate);

    [[nodiscard]] WebFrame& mainFrame() { return mainFrame_; }
    // Stops loading and lets go of the page.
    void close();

    void setFrame(NSRect frame) override;
    [[nodiscard]] NSRect bounds() const override;
    void display() override;
    void lockFocus() override;
    void unlockFocus() override;
    [[nodiscard]] _GtkWidget* widget() override;

    class Engine; // the engine's side, see WebViewEngine.h

private:
    friend class WebFrame;
    WebPreferences preferences_;
    WebFrame mainFrame_;
    std::unique_ptr<Engine> engine_;
};

// Makes the class "WebIconDatabase" known to NSClassFromString; its sharedIconDatabase switches site icons on for the
// views made afterwards. A build without site icons leaves this call out.
void registerWebIconDatabaseClass();

} // namespace platform
