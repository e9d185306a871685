#include "WebKit/WebPreferences.h"

#include "Script.h"

namespace platform {

using scripted_platform::call;
using scripted_platform::text;

void WebPreferences::setJavaEnabled(bool flag) {
    call("WebPreferences setJavaEnabled", text(flag));
    javaEnabled_ = flag;
}

void WebPreferences::setPlugInsEnabled(bool flag) {
    call("WebPreferences setPlugInsEnabled", text(flag));
    plugInsEnabled_ = flag;
}

void WebPreferences::setJavaScriptCanOpenWindowsAutomatically(bool flag) {
    call("WebPreferences setJavaScriptCanOpenWindowsAutomatically", text(flag));
    javaScriptCanOpenWindowsAutomatically_ = flag;
}

void WebPreferences::setPrivateBrowsingEnabled(bool flag) {
    call("WebPreferences setPrivateBrowsingEnabled", text(flag));
    privateBrowsingEnabled_ = flag;
}

void WebPreferences::setAllowsAnimatedImages(bool flag) {
    call("WebPreferences setAllowsAnimatedImages", text(flag));
    allowsAnimatedImages_ = flag;
}

void WebPreferences::setCacheModel(WebCacheModel model) {
    call("WebPreferences setCacheModel", std::to_string(model));
    cacheModel_ = model;
}

void WebPreferences::setAutosaves(bool flag) {
    call("WebPreferences setAutosaves", text(flag));
    autosaves_ = flag;
}

} // namespace platform
