#include "WebKit/WebPreferences.h"

namespace platform {

void WebPreferences::setJavaEnabled(bool flag) {
    javaEnabled_ = flag;
}

void WebPreferences::setPlugInsEnabled(bool flag) {
    plugInsEnabled_ = flag;
}

void WebPreferences::setJavaScriptCanOpenWindowsAutomatically(bool flag) {
    javaScriptCanOpenWindowsAutomatically_ = flag;
}

void WebPreferences::setPrivateBrowsingEnabled(bool flag) {
    privateBrowsingEnabled_ = flag;
}

void WebPreferences::setAllowsAnimatedImages(bool flag) {
    allowsAnimatedImages_ = flag;
}

void WebPreferences::setCacheModel(WebCacheModel model) {
    cacheModel_ = model;
}

void WebPreferences::setAutosaves(bool flag) {
    autosaves_ = flag;
}

} // namespace platform
