#include "WebKit/WebView.h"

#include "AppKit/NSGraphicsContext.h"
#include "Script.h"

namespace platform {

using scripted_platform::call;
using scripted_platform::nameOf;
using scripted_platform::script;
using scripted_platform::text;

class WebView::Engine {
public:
    NSRect frame;
};

namespace {

// A delegate's interfaces stand at different places of one object, which is what the test knows.
template <class Delegate>
std::string nameOfDelegate(const Delegate* delegate) {
    return nameOf(dynamic_cast<const void*>(delegate));
}

std::shared_ptr<NSGraphicsContext> contextOfPage(NSSize size) {
    const int wide = static_cast<int>(size.width);
    const int high = static_cast<int>(size.height);
    auto pixels = std::make_shared<std::vector<NSBitmapImageRep::Pixel>>();
    for (int y = 0; y < high; ++y)
        for (int x = 0; x < wide; ++x)
            pixels->push_back(script().page ? script().page(x, y) : 0xFFFFFFFF);
    return NSGraphicsContext::graphicsContextWithPremultipliedARGB32(pixels->data(), wide, high, 4 * wide, pixels);
}

} // namespace

void WebFrame::loadRequest(const NSURLRequest& request) {
    call("WebFrame loadRequest", lossyUTF8String(request.URL().absoluteString()) + " cachePolicy " +
                                     std::to_string(request.cachePolicy()) + " timeout " +
                                     text(request.timeoutInterval()));
}

WebView::WebView(NSRect frame) : mainFrame_(*this), engine_(std::make_unique<Engine>()) {
    engine_->frame = frame;
    script().names[this] = "the view";
    call("WebView initWithFrame", text(frame));
}

WebView::~WebView() {
    call("WebView release");
}

void WebView::setPreferences(const WebPreferences& preferences) {
    preferences_ = preferences;
    call("WebView setPreferences");
}

void WebView::setCustomUserAgent(StringView userAgent) {
    call("WebView setCustomUserAgent", lossyUTF8String(userAgent));
}

void WebView::setMaintainsBackForwardList(bool flag) {
    call("WebView setMaintainsBackForwardList", text(flag));
}

void WebView::setEndsPageWithPicture(bool flag) {
    call("WebView setEndsPageWithPicture", text(flag));
}

void WebView::setFrameLoadDelegate(WebFrameLoadDelegate* delegate) {
    call("WebView setFrameLoadDelegate", nameOfDelegate(delegate));
}

void WebView::setResourceLoadDelegate(WebResourceLoadDelegate* delegate) {
    call("WebView setResourceLoadDelegate", nameOfDelegate(delegate));
}

void WebView::setUIDelegate(WebUIDelegate* delegate) {
    call("WebView setUIDelegate", nameOfDelegate(delegate));
}

void WebView::setPolicyDelegate(WebPolicyDelegate* delegate) {
    call("WebView setPolicyDelegate", nameOfDelegate(delegate));
}

void WebView::close() {
    call("WebView close");
}

void WebView::setFrame(NSRect frame) {
    call("WebView setFrame", text(frame));
    engine_->frame = frame;
}

NSRect WebView::bounds() const {
    call("WebView bounds");
    return {{0, 0}, engine_->frame.size};
}

void WebView::display() {
    call("WebView display");
}

void WebView::lockFocus() {
    call("WebView lockFocus");
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(contextOfPage(engine_->frame.size));
}

void WebView::unlockFocus() {
    NSGraphicsContext::restoreGraphicsState();
    call("WebView unlockFocus");
}

_GtkWidget* WebView::widget() {
    return nullptr;
}

} // namespace platform
