// The engine's signals: what the page's course is told through, and everything that would show or keep something, which
// is answered in silence.
#include "WebKit/WebViewEngine.h"

#include <string_view>

namespace platform {
namespace {

WebView::Engine& engine(gpointer data) {
    return *static_cast<WebView::Engine*>(data);
}

// Signals whose handler only has to claim that it showed what was asked for.
gboolean claimHandled() {
    return TRUE;
}
void doNothing() {}
GtkWidget* makeNoView() {
    return nullptr;
}

gboolean denyPermission(WebKitWebView*, WebKitPermissionRequest* request, gpointer) {
    webkit_permission_request_deny(request);
    return TRUE;
}

gboolean answerPermissionQuery(WebKitWebView*, WebKitPermissionStateQuery* query, gpointer) {
    webkit_permission_state_query_finish(query, WEBKIT_PERMISSION_STATE_DENIED);
    return TRUE;
}

gboolean cancelColorChooser(WebKitWebView*, WebKitColorChooserRequest* request, gpointer) {
    webkit_color_chooser_request_cancel(request);
    return TRUE;
}

// A picture of something that is sent as a file to keep is not a picture of a page, and nothing is written to disk.
bool isAttachment(WebKitResponsePolicyDecision* decision) {
    SoupMessageHeaders* headers =
        webkit_uri_response_get_http_headers(webkit_response_policy_decision_get_response(decision));
    char* disposition = nullptr;
    GHashTable* parameters = nullptr;
    if (!headers || !soup_message_headers_get_content_disposition(headers, &disposition, &parameters))
        return false;
    const bool attachment = g_ascii_strcasecmp(disposition, "inline") != 0;
    g_free(disposition);
    g_hash_table_unref(parameters);
    return attachment;
}

} // namespace

struct SignalHandlers {
    static void loadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer data) {
        WebView::Engine& self = engine(data);
        const char* address = webkit_web_view_get_uri(view);
        switch (event) {
        case WEBKIT_LOAD_STARTED:
            self.loadStarted(address);
            break;
        case WEBKIT_LOAD_REDIRECTED:
            self.loadRedirected(address);
            break;
        case WEBKIT_LOAD_COMMITTED:
            self.loadCommitted(address);
            break;
        case WEBKIT_LOAD_FINISHED:
            self.loadFinished();
            break;
        }
    }

    // TRUE: without it the engine loads an error page in place of the address.
    static gboolean loadFailed(WebKitWebView*, WebKitLoadEvent event, const char*, GError* error, gpointer data) {
        const LoadPhase phase =
            event == WEBKIT_LOAD_STARTED || event == WEBKIT_LOAD_REDIRECTED ? LoadPhase::Started : LoadPhase::Committed;
        engine(data).loadFailed(failureAt(phase),
                                errorFromEngine(g_quark_to_string(error->domain), error->code, error->message));
        return TRUE;
    }

    static gboolean certificateRefused(WebKitWebView*, const char*, GTlsCertificate*, GTlsCertificateFlags flags,
                                       gpointer data) {
        const NSError error(NSURLErrorDomain, NSURLErrorServerCertificateUntrusted,
                            u"The server's certificate is not valid (flags " +
                                stringWithUTF8OrLatin1(std::to_string(static_cast<unsigned>(flags))) + u")");
        engine(data).loadFailed(PageEvent::CertificateRefused, error);
        return TRUE;
    }

    static void resourceLoadStarted(WebKitWebView*, WebKitWebResource* resource, WebKitURIRequest* request,
                                    gpointer data) {
        engine(data).resourceStarted(resource, request);
    }

    static void iconChanged(WebKitWebView*, GParamSpec*, gpointer data) { engine(data).report(PageEvent::IconChanged); }

    // TRUE and a reference kept: the challenge is neither answered nor cancelled, and no panel asks anybody.
    static gboolean authenticate(WebKitWebView*, WebKitAuthenticationRequest* request, gpointer data) {
        g_object_ref(request);
        const auto cancelled = [](WebKitAuthenticationRequest* r, gpointer d) { engine(d).challengeCancelled(r); };
        g_signal_connect(request, "cancelled", G_CALLBACK(+cancelled), data);
        engine(data).challengeReceived(request);
        return TRUE;
    }

    static void webProcessTerminated(WebKitWebView*, WebKitWebProcessTerminationReason, gpointer data) {
        engine(data).report(PageEvent::WebProcessEnded);
    }

    static gboolean decidePolicy(WebKitWebView*, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type,
                                 gpointer data) {
        if (type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION)
            return engine(data).decideNavigation(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
        if (type != WEBKIT_POLICY_DECISION_TYPE_RESPONSE || !isAttachment(WEBKIT_RESPONSE_POLICY_DECISION(decision)))
            return FALSE; // the engine's default
        webkit_policy_decision_ignore(decision);
        return TRUE;
    }

    static gboolean scriptDialog(WebKitWebView*, WebKitScriptDialog* dialog, gpointer data) {
        engine(data).answerDialog(dialog);
        return TRUE;
    }

    static gboolean runFileChooser(WebKitWebView*, WebKitFileChooserRequest* request, gpointer data) {
        engine(data).offerFileChooser(request);
        return TRUE;
    }
};

void EngineSignals::connect(WebView::Engine& self) {
    struct Row {
        const char* signal;
        GCallback handler;
    };
    const Row rows[] = {
        // The page's course
        {"load-changed", G_CALLBACK(SignalHandlers::loadChanged)},
        {"load-failed", G_CALLBACK(SignalHandlers::loadFailed)},
        {"load-failed-with-tls-errors", G_CALLBACK(SignalHandlers::certificateRefused)},
        {"resource-load-started", G_CALLBACK(SignalHandlers::resourceLoadStarted)},
        {"notify::favicon", G_CALLBACK(SignalHandlers::iconChanged)},
        {"authenticate", G_CALLBACK(SignalHandlers::authenticate)},
        {"web-process-terminated", G_CALLBACK(SignalHandlers::webProcessTerminated)},
        {"decide-policy", G_CALLBACK(SignalHandlers::decidePolicy)},
        // Asked of the user
        {"script-dialog", G_CALLBACK(SignalHandlers::scriptDialog)},
        {"run-file-chooser", G_CALLBACK(SignalHandlers::runFileChooser)},
        {"permission-request", G_CALLBACK(denyPermission)},
        {"query-permission-state", G_CALLBACK(answerPermissionQuery)},
        {"run-color-chooser", G_CALLBACK(cancelColorChooser)},
        // Shown to the user
        {"print", G_CALLBACK(claimHandled)},
        {"show-notification", G_CALLBACK(claimHandled)},
        {"show-option-menu", G_CALLBACK(claimHandled)},
        {"context-menu", G_CALLBACK(claimHandled)},
        {"enter-fullscreen", G_CALLBACK(claimHandled)},
        // Windows
        {"create", G_CALLBACK(makeNoView)},
        {"close", G_CALLBACK(doNothing)},
    };
    for (const Row& row : rows)
        g_signal_connect(self.view_, row.signal, row.handler, &self);
}

} // namespace platform
