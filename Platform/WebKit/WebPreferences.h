// The settings of a web view, handed to it as a whole with WebView::setPreferences.
#pragma once

namespace platform {

// How much the engine keeps for later pages; the document viewer's model keeps the least.
enum WebCacheModel : int {
    WebCacheModelDocumentViewer = 0,
    WebCacheModelDocumentBrowser = 1,
    WebCacheModelPrimaryWebBrowser = 2
};

class WebPreferences {
public:
    // Java and plug-ins no longer exist in the engine: the two flags are kept and have no effect.
    void setJavaEnabled(bool flag);
    void setPlugInsEnabled(bool flag);
    void setJavaScriptCanOpenWindowsAutomatically(bool flag);
    // Nothing of a page is kept on disk.
    void setPrivateBrowsingEnabled(bool flag);
    // The engine has no switch for animated images. Off, media do not play by themselves.
    void setAllowsAnimatedImages(bool flag);
    void setCacheModel(WebCacheModel model);
    // Preferences are never written to disk here, whatever is asked for.
    void setAutosaves(bool flag);

    [[nodiscard]] bool isJavaEnabled() const { return javaEnabled_; }
    [[nodiscard]] bool arePlugInsEnabled() const { return plugInsEnabled_; }
    [[nodiscard]] bool javaScriptCanOpenWindowsAutomatically() const { return javaScriptCanOpenWindowsAutomatically_; }
    [[nodiscard]] bool privateBrowsingEnabled() const { return privateBrowsingEnabled_; }
    [[nodiscard]] bool allowsAnimatedImages() const { return allowsAnimatedImages_; }
    [[nodiscard]] WebCacheModel cacheModel() const { return cacheModel_; }
    [[nodiscard]] bool autosaves() const { return autosaves_; }

private:
    bool javaEnabled_ = true;
    bool plugInsEnabled_ = true;
    bool javaScriptCanOpenWindowsAutomatically_ = true;
    bool privateBrowsingEnabled_ = false;
    bool allowsAnimatedImages_ = true;
    WebCacheModel cacheModel_ = WebCacheModelDocumentBrowser;
    bool autosaves_ = true;
};

} // namespace platform
