#include "WebKit/WebView.h"

#include "Foundation/NSObjCRuntime.h"
#include "WebKit/EngineContext.h"
#include "WebKit/WebViewEngine.h"

#include <gtk/gtk.h>

namespace platform {

void WebFrame::loadRequest(const NSURLRequest& request) {
    view_.engine_->load(request);
}

WebView::WebView(NSRect frame) : mainFrame_(*this), engine_(std::make_unique<Engine>(*this, frame)) {}

WebView::~WebView() = default;

void WebView::setPreferences(const WebPreferences& preferences) {
    preferences_ = preferences;
    engine_->setPreferences(preferences);
}

void WebView::setCustomUserAgent(StringView userAgent) {
    engine_->setUserAgent(userAgent);
}

// The engine cannot do without its list; a view that never navigates back has no use of it either way.
void WebView::setMaintainsBackForwardList(bool) {}

void WebView::setEndsPageWithPicture(bool flag) {
    engine_->endsPageWithPicture = flag;
}

void WebView::setFrameLoadDelegate(WebFrameLoadDelegate* delegate) {
    engine_->frameLoadDelegate = delegate;
}
void WebView::setResourceLoadDelegate(WebResourceLoadDelegate* delegate) {
    engine_->resourceLoadDelegate = delegate;
}
void WebView::setUIDelegate(WebUIDelegate* delegate) {
    engine_->uiDelegate = delegate;
}
void WebView::setPolicyDelegate(WebPolicyDelegate* delegate) {
    engine_->policyDelegate = delegate;
}

void WebView::close() {
    engine_->close();
}

void WebView::setFrame(NSRect frame) {
    engine_->setFrame(frame);
}

NSRect WebView::bounds() const {
    return {{0, 0}, engine_->frame().size};
}

// The engine paints when a snapshot is asked for, which is when the focus is locked.
void WebView::display() {}

void WebView::lockFocus() {
    engine_->lockFocus();
}
void WebView::unlockFocus() {
    engine_->unlockFocus();
}

_GtkWidget* WebView::widget() {
    return GTK_WIDGET(engine_->view());
}

void registerWebIconDatabaseClass() {
    registerClass(u"WebIconDatabase", [](StringView selector) {
        if (selector == u"sharedIconDatabase")
            switchSiteIconsOn();
    });
}

} // namespace platform
