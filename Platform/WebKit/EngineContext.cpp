#include "WebKit/EngineContext.h"

#include "Foundation/NSURLRequest.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace platform {
namespace {

constexpr const char* sandboxVariable = "WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS";

bool siteIconsAreOn = false;

WebKitMemoryPressureSettings* memoryLimits() {
    constexpr guint limitInMegabytes = 1536; // far above what pages need, below what hurts a machine
    constexpr double pollIntervalInSeconds = 0.5;
    WebKitMemoryPressureSettings* settings = webkit_memory_pressure_settings_new();
    webkit_memory_pressure_settings_set_memory_limit(settings, limitInMegabytes);
    webkit_memory_pressure_settings_set_kill_threshold(settings, 1.0);
    webkit_memory_pressure_settings_set_poll_interval(settings, pollIntervalInSeconds);
    return settings;
}

WebKitCacheModel engineCacheModel(WebCacheModel model) {
    switch (model) {
    case WebCacheModelDocumentBrowser:
        return WEBKIT_CACHE_MODEL_DOCUMENT_BROWSER;
    case WebCacheModelPrimaryWebBrowser:
        return WEBKIT_CACHE_MODEL_WEB_BROWSER;
    case WebCacheModelDocumentViewer:
        break;
    }
    return WEBKIT_CACHE_MODEL_DOCUMENT_VIEWER;
}

void refuseDownload(WebKitWebContext*, WebKitDownload* download, gpointer) {
    webkit_download_cancel(download);
}

// The engine ends the process with its own message when a child of it cannot be started in the sandbox; say what that
// message means to the person who reads it.
void answerMessage(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer) {
    if ((level & G_LOG_FLAG_FATAL) != 0) {
        g_printerr(
            "The web engine ended: %s\nNo page can be captured. If this machine cannot build the engine's sandbox "
            "(bubblewrap, xdg-dbus-proxy, user namespaces), %s=1 switches it off.\n",
            message, sandboxVariable);
        return;
    }
    g_log_default_handler(domain, level, message, nullptr);
    // A main loop that may not wait (its descriptors have become more than the process is allowed to have) would go
    // round and say so for ever, and nothing that it serves would ever happen.
    if (domain && std::strcmp(domain, "GLib") == 0 && std::strstr(message, "poll(2) failed"))
        _exit(EXIT_SUCCESS);
}

} // namespace

bool sandboxIsSwitchedOff() {
    const char* value = std::getenv(sandboxVariable);
    return value && std::strcmp(value, "0") != 0;
}

void switchSiteIconsOn() {
    siteIconsAreOn = true;
}

WebKitWebContext* makeEngineContext(const WebPreferences& preferences) {
    g_log_set_default_handler(answerMessage, nullptr);
    WebKitMemoryPressureSettings* limits = memoryLimits();
    // Always ephemeral: a helper that ends after one page has nothing to remember, whatever the preferences say.
    WebKitWebsiteDataManager* data = webkit_website_data_manager_new_ephemeral();
    auto* context = WEBKIT_WEB_CONTEXT(g_object_new(WEBKIT_TYPE_WEB_CONTEXT, "website-data-manager", data,
                                                    "memory-pressure-settings", limits, nullptr));
    webkit_memory_pressure_settings_free(limits);
    webkit_website_data_manager_set_tls_errors_policy(data, WEBKIT_TLS_ERRORS_POLICY_FAIL);
    if (!NSURLRequest::HTTPShouldHandleCookies())
        webkit_cookie_manager_set_accept_policy(webkit_website_data_manager_get_cookie_manager(data),
                                                WEBKIT_COOKIE_POLICY_ACCEPT_NEVER);
    g_object_unref(data);
    if (!sandboxIsSwitchedOff())
        webkit_web_context_set_sandbox_enabled(context, TRUE);
    webkit_web_context_set_cache_model(context, engineCacheModel(preferences.cacheModel()));
    webkit_web_context_set_spell_checking_enabled(context, FALSE);
    if (siteIconsAreOn)
        webkit_web_context_set_favicon_database_directory(context, nullptr);
    g_signal_connect(context, "download-started", G_CALLBACK(refuseDownload), nullptr);
    return context;
}

} // namespace platform
