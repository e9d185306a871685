#include "WebKit/WebViewEngine.h"

#include "AppKit/Display.h"
#include "AppKit/NSApplication.h"
#include "Foundation/CFURL.h"
#include "Foundation/NSException.h"
#include "WebKit/EngineContext.h"
#include "WebKit/EngineLibraries.h"
#include "WebKit/EngineProcesses.h"

#include <cmath>
#include <cstdlib>
#include <gtk/gtk.h>
#include <utility>

namespace platform {
namespace {

int pixels(double points) {
    return static_cast<int>(std::lround(points));
}

LoadCompletion::Time now() {
    return LoadCompletion::Time(g_get_monotonic_time() / 1000);
}

WebKitSettings* makeSettings(const WebPreferences& preferences) {
    return webkit_settings_new_with_settings(
        "enable-site-specific-quirks", FALSE, // they replace the user agent on some hosts
        "javascript-can-open-windows-automatically", preferences.javaScriptCanOpenWindowsAutomatically(), //
        "media-playback-requires-user-gesture", !preferences.allowsAnimatedImages(),                      //
        "enable-page-cache", FALSE, "enable-dns-prefetching", FALSE, "enable-developer-extras", FALSE,    //
        "hardware-acceleration-policy", WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER, nullptr);
}

// Scroll bars would narrow what the capture shows of the page. A page may style its own, hence "!important".
WebKitUserContentManager* makeUserContent() {
    WebKitUserContentManager* manager = webkit_user_content_manager_new();
    WebKitUserStyleSheet* sheet =
        webkit_user_style_sheet_new("html{scrollbar-width:none!important}", WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                                    WEBKIT_USER_STYLE_LEVEL_USER, nullptr, nullptr);
    webkit_user_content_manager_add_style_sheet(manager, sheet);
    webkit_user_style_sheet_unref(sheet);
    return manager;
}

// The engine's addresses are the normalised form, whose grammar is a little wider than a URL's: what a URL may not hold
// as it stands ("|", "{" ...) is escaped.
std::optional<WebDataSource> dataSource(const char* address) {
    const String text = stringWithUTF8OrLatin1(address ? address : "");
    auto url = NSURL::URLWithString(text);
    if (!url)
        url = NSURL::URLWithString(CFURLCreateStringByAddingPercentEscapes(text, u"%#[]", u""));
    return url ? std::optional(WebDataSource(NSURLRequest::requestWithURL(*url))) : std::nullopt;
}

bool isEmptyDocument(const char* address) {
    return address && std::string_view(address) == "about:blank";
}

struct PendingSnapshot {
    GMainLoop* loop;
    cairo_surface_t* surface;
    GError* error;
};

void snapshotIsReady(GObject* view, GAsyncResult* result, gpointer data) {
    auto* pending = static_cast<PendingSnapshot*>(data);
    pending->surface = webkit_web_view_get_snapshot_finish(WEBKIT_WEB_VIEW(view), result, &pending->error);
    g_main_loop_quit(pending->loop);
}

// One pixel a point, whatever the display's scale and the engine's idea of the visible part.
cairo_surface_t* inPoints(cairo_surface_t* surface, NSSize size) {
    const bool isInPoints = cairo_surface_get_type(surface) == CAIRO_SURFACE_TYPE_IMAGE &&
                            cairo_image_surface_get_format(surface) == CAIRO_FORMAT_ARGB32 &&
                            cairo_image_surface_get_width(surface) == pixels(size.width) &&
                            cairo_image_surface_get_height(surface) == pixels(size.height);
    if (isInPoints) {
        cairo_surface_flush(surface);
        return surface;
    }
    cairo_surface_t* out = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixels(size.width), pixels(size.height));
    cairo_t* context = cairo_create(out);
    cairo_set_operator(context, CAIRO_OPERATOR_SOURCE);
    cairo_set_source_surface(context, surface, 0, 0);
    cairo_paint(context);
    cairo_destroy(context);
    cairo_surface_destroy(surface);
    cairo_surface_flush(out);
    return out;
}

} // namespace

WebView::Engine::Engine(WebView& view, NSRect frame) : owner_(view), frame_(frame) {
    if (!connectToDisplay())
        NSApplication::sharedApplication().terminate(this);
}

WebView::Engine::~Engine() {
    close();
    ++*question_;
    if (view_)
        g_signal_handlers_disconnect_by_data(view_, this);
    g_clear_object(&view_);
}

WebKitWebView* WebView::Engine::view() {
    if (!view_)
        setPreferences(owner_.preferences_);
    return view_;
}

void WebView::Engine::setPreferences(const WebPreferences& preferences) {
    WebKitSettings* settings = makeSettings(preferences);
    if (!view_) {
        WebKitWebContext* context = makeEngineContext(preferences);
        WebKitUserContentManager* userContent = makeUserContent();
        WebKitWebsitePolicies* policies = webkit_website_policies_new_with_policies(
            "autoplay", preferences.allowsAnimatedImages() ? WEBKIT_AUTOPLAY_ALLOW : WEBKIT_AUTOPLAY_DENY, nullptr);
        view_ = WEBKIT_WEB_VIEW(
            g_object_ref_sink(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context, "user-content-manager",
                                           userContent, "website-policies", policies, "settings", settings, nullptr)));
        g_object_unref(policies);
        g_object_unref(userContent);
        g_object_unref(context);
        webkit_web_view_set_is_muted(view_, TRUE);
        EngineSignals::connect(*this);
        setFrame(frame_);
        startWebProcess();
    } else {
        webkit_web_view_set_settings(view_, settings);
    }
    g_object_unref(settings);
    if (!userAgent_.empty())
        setUserAgent(userAgent_);
}

// The engine starts its web process with the first load, which is late: a page's touch icon is fetched before that. A
// message to the page's side, which nobody there hears, starts it at once and leaves no trace in the load's events.
void WebView::Engine::startWebProcess() {
    // The sandbox's own programs are started with it.
    const char* order = std::getenv(libraryOrderVariable);
    if (order && std::string_view(order) == engineLibrariesInOrder)
        unsetenv(libraryOrderVariable);
    webkit_web_view_send_message_to_page(view_, webkit_user_message_new("start", nullptr), nullptr, nullptr, nullptr);
}

void WebView::Engine::setUserAgent(StringView userAgent) {
    userAgent_ = userAgent;
    if (view_)
        webkit_settings_set_user_agent(webkit_web_view_get_settings(view_), lossyUTF8String(userAgent).c_str());
}

void WebView::Engine::setFrame(NSRect frame) {
    frame_ = frame;
    if (view_)
        gtk_widget_set_size_request(GTK_WIDGET(view_), pixels(frame.size.width), pixels(frame.size.height));
}

void WebView::Engine::load(const NSURLRequest& request) {
    phase_ = LoadPhase::Requested;
    webkit_web_view_load_uri(view(), lossyUTF8String(request.URL().absoluteString()).c_str());
}

void WebView::Engine::close() {
    isClosed_ = true; // what the engine says about the stopping is nobody's business any more
    if (completionTimer_ != 0)
        g_source_remove(std::exchange(completionTimer_, 0));
    if (challengeSource_ != 0)
        g_source_remove(std::exchange(challengeSource_, 0));
    if (view_)
        webkit_web_view_stop_loading(view_);
}

void WebView::Engine::report(PageEvent event, const NSError* error) {
    if (event != PageEvent::LoadStarted)
        announceStart();
    const PageReaction reaction = reactionTo(event);
    if (reaction == PageReaction::Terminate && !isClosed_)
        NSApplication::sharedApplication().terminate(&owner_);
    if (isBusy_ || isClosed_ || challengeSource_ != 0)
        return;
    switch (reaction) {
    case PageReaction::DidStartProvisionalLoad:
        if (frameLoadDelegate)
            frameLoadDelegate->webView_didStartProvisionalLoadForFrame(owner_, owner_.mainFrame_);
        break;
    case PageReaction::BecomeCommitted:
        owner_.mainFrame_.setProvisionalDataSource(std::nullopt);
        break;
    case PageReaction::AwaitCompletion:
        watchCompletion();
        break;
    case PageReaction::DidFailProvisionalLoad:
        if (frameLoadDelegate && error)
            frameLoadDelegate->webView_didFailProvisionalLoadWithError_forFrame(owner_, *error, owner_.mainFrame_);
        owner_.mainFrame_.setProvisionalDataSource(std::nullopt);
        break;
    case PageReaction::DidFailLoad:
        if (frameLoadDelegate && error)
            frameLoadDelegate->webView_didFailLoadWithError_forFrame(owner_, *error, owner_.mainFrame_);
        break;
    case PageReaction::DidReceiveIcon:
        if (const auto icon = currentIcon(); icon && frameLoadDelegate)
            frameLoadDelegate->webView_didReceiveIcon_forFrame(owner_, *icon, owner_.mainFrame_);
        break;
    default:
        break;
    }
}

// The network process may speak sooner than the web process, which has the load begin: then the challenge waits for
// that.
void WebView::Engine::challengeReceived(WebKitAuthenticationRequest* request) {
    announceStart();
    if (isBusy_ || isClosed_ || challenge_)
        return;
    challenge_ = request;
    if (phase_ != LoadPhase::Requested)
        tellChallengeSoon();
}

// One that nobody has been told of is still told: the engine itself cancels it when the load's beginning comes late.
void WebView::Engine::challengeCancelled(WebKitAuthenticationRequest* request) {
    if (request != challenge_)
        reportChallenge(PageEvent::ChallengeCancelled, request);
}

// Told from the main loop itself and not from within the engine's signal: a snapshot that is awaited in there hangs
// when the engine has queued the web process's messages behind the one it is delivering. Nothing comes between the two.
void WebView::Engine::tellChallengeSoon() {
    const auto action = [](gpointer data) -> gboolean {
        auto* engine = static_cast<Engine*>(data);
        engine->challengeSource_ = 0;
        engine->reportChallenge(PageEvent::ChallengeReceived, std::exchange(engine->challenge_, nullptr));
        return G_SOURCE_REMOVE;
    };
    challengeSource_ = g_idle_add_full(G_PRIORITY_HIGH, action, this, nullptr);
}

void WebView::Engine::reportChallenge(PageEvent event, WebKitAuthenticationRequest* request) {
    if (isBusy_ || isClosed_ || !resourceLoadDelegate)
        return;
    NSURLAuthenticationChallenge challenge;
    if (const char* realm = webkit_authentication_request_get_realm(request))
        challenge.protectionSpace.realm = stringWithUTF8OrLatin1(realm);
    // The engine does not say which resource of the page it is.
    const WebResourceIdentifier resource = lastResource_;
    if (reactionTo(event) == PageReaction::DidReceiveAuthenticationChallenge)
        resourceLoadDelegate->webView_resource_didReceiveAuthenticationChallenge_fromDataSource(owner_, resource,
                                                                                                challenge, nullptr);
    else
        resourceLoadDelegate->webView_resource_didCancelAuthenticationChallenge_fromDataSource(owner_, resource,
                                                                                               challenge, nullptr);
}

// When a page sends the visitor on, the engine says "started" while the view still has the old page's address; the new
// one is told by the request for the main resource, which follows at once. So the start is announced with that request,
// or with whatever event comes instead of it.
void WebView::Engine::loadStarted(const char* address) {
    phase_ = LoadPhase::Started;
    setProvisionalAddress(address);
    startIsUnannounced_ = true;
    completion_.loadStarted();
    watchCompletion();
    if (challenge_ && challengeSource_ == 0) {
        announceStart();
        tellChallengeSoon();
    }
    if (!networkProcessIsWatched_)
        networkProcessIsWatched_ = watchNetworkProcess([this] { report(PageEvent::NetworkProcessEnded); });
}

void WebView::Engine::loadRedirected(const char* address) {
    announceStart();
    phase_ = LoadPhase::Redirected;
    setProvisionalAddress(address);
}

void WebView::Engine::resourceStarted(WebKitWebResource* resource, WebKitURIRequest* request) {
    ++lastResource_;
    if (startIsUnannounced_ && resource == webkit_web_view_get_main_resource(view_)) {
        setProvisionalAddress(webkit_web_resource_get_uri(resource));
        announceStart();
    }
    watchIconLoad(resource, request);
}

void WebView::Engine::setProvisionalAddress(const char* address) {
    provisionalAddress_ = address ? address : "";
    owner_.mainFrame_.setProvisionalDataSource(dataSource(address));
}

void WebView::Engine::announceStart() {
    if (std::exchange(startIsUnannounced_, false))
        report(PageEvent::LoadStarted);
}

void WebView::Engine::loadCommitted(const char* address) {
    phase_ = LoadPhase::Committed;
    completion_.loadCommitted();
    if (isEmptyDocument(address) && !isEmptyDocument(provisionalAddress_.c_str())) {
        completion_.loadFailed();
        const NSError error = errorFromEngine("WebKitNetworkError", 0, "The address was refused");
        report(PageEvent::LoadCommittedToNothing, &error);
        return;
    }
    report(PageEvent::LoadCommitted);
}

void WebView::Engine::loadFailed(PageEvent event, const NSError& error) {
    completion_.loadFailed();
    watchCompletion();
    report(event, &error);
}

// Also follows every failure, which the completion knows.
void WebView::Engine::loadFinished() {
    phase_ = LoadPhase::Finished;
    completion_.loadFinished(now());
    askWebProcess();
    report(PageEvent::LoadFinished);
}

void WebView::Engine::watchCompletion() {
    if (completionTimer_ != 0)
        g_source_remove(std::exchange(completionTimer_, 0));
    const auto due = completion_.dueTime();
    if (!due)
        return;
    const auto wait = std::max(*due - now(), LoadCompletion::Time(0));
    const auto action = [](gpointer engine) -> gboolean {
        static_cast<Engine*>(engine)->completionTimer_ = 0;
        static_cast<Engine*>(engine)->completionIsDue();
        return G_SOURCE_REMOVE;
    };
    completionTimer_ = g_timeout_add(static_cast<guint>(wait.count()), action, this);
}

// Any question that the web process has to answer will do, and this one changes nothing. Asked again until the
// completion has enough answers.
void WebView::Engine::askWebProcess() {
    struct Question {
        Engine* engine;
        std::shared_ptr<const unsigned> latest;
        unsigned number;
    };
    const auto answered = [](GObject* view, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Question> question(static_cast<Question*>(data));
        webkit_web_view_can_execute_editing_command_finish(WEBKIT_WEB_VIEW(view), result, nullptr);
        if (question->number != *question->latest)
            return;
        Engine& engine = *question->engine;
        engine.completion_.webProcessAnswered(now());
        engine.askWebProcess();
        engine.watchCompletion();
    };
    if (completion_.wantsAnswers())
        webkit_web_view_can_execute_editing_command(view_, WEBKIT_EDITING_COMMAND_COPY, nullptr, answered,
                                                    new Question{this, question_, ++*question_});
}

void WebView::Engine::completionIsDue() {
    if (!isBusy_ && frameLoadDelegate)
        frameLoadDelegate->webView_didFinishLoadForFrame(owner_, owner_.mainFrame_);
}

// An icon's request shows among the page's resources: it accepts anything and is for an image.
static bool acceptsAnything(WebKitURIRequest* request) {
    SoupMessageHeaders* headers = webkit_uri_request_get_http_headers(request);
    const char* accepted = headers ? soup_message_headers_get_one(headers, "Accept") : nullptr;
    return accepted && std::string_view(accepted) == "*/*";
}

// Over plain http the engine does not say what a request is for; there the name has to do.
static bool isForImage(WebKitURIRequest* request) {
    SoupMessageHeaders* headers = webkit_uri_request_get_http_headers(request);
    if (const char* purpose = headers ? soup_message_headers_get_one(headers, "Sec-Fetch-Dest") : nullptr)
        return std::string_view(purpose) == "image";
    std::string_view address = webkit_uri_request_get_uri(request);
    address = address.substr(0, address.find_first_of("?#"));
    for (const std::string_view ending : {".ico", ".png", ".gif", ".jpg", ".jpeg", ".webp", ".svg", ".bmp"})
        if (address.ends_with(ending))
            return true;
    return false;
}

// The engine takes no picture from an error's body or from SVG.
static bool mayHoldPicture(WebKitURIResponse* response) {
    constexpr guint firstError = 400;
    if (!response || webkit_uri_response_get_status_code(response) >= firstError)
        return false;
    const char* type = webkit_uri_response_get_mime_type(response);
    return !type || std::string_view(type) != "image/svg+xml";
}

void WebView::Engine::watchIconLoad(WebKitWebResource* resource, WebKitURIRequest* request) {
    if (phase_ < LoadPhase::Committed || !acceptsAnything(request))
        return;
    if (isForImage(request))
        awaitIcon(resource);
    else // where it is sent on to may tell
        g_signal_connect(resource, "sent-request", G_CALLBACK(iconMayHaveMoved), this);
}

void WebView::Engine::iconMayHaveMoved(WebKitWebResource* resource, WebKitURIRequest* request,
                                       WebKitURIResponse* redirect, Engine* engine) {
    if (!redirect || !isForImage(request))
        return;
    g_signal_handlers_disconnect_by_func(resource, reinterpret_cast<gpointer>(iconMayHaveMoved), engine);
    engine->awaitIcon(resource);
}

void WebView::Engine::awaitIcon(WebKitWebResource* resource) {
    completion_.iconLoadStarted();
    watchCompletion();
    // "finished" follows "failed" too.
    const auto ended = [](WebKitWebResource* icon, gpointer data) {
        auto* engine = static_cast<Engine*>(data);
        engine->completion_.iconLoadEnded(now(), mayHoldPicture(webkit_web_resource_get_response(icon)));
        engine->askWebProcess();
        engine->watchCompletion();
    };
    g_signal_connect(resource, "finished", G_CALLBACK(+ended), this);
}

std::optional<NSImage> WebView::Engine::currentIcon() {
    cairo_surface_t* surface = webkit_web_view_get_favicon(view_); // owned by the view
    if (!surface || cairo_surface_get_type(surface) != CAIRO_SURFACE_TYPE_IMAGE)
        return std::nullopt;
    const int wide = cairo_image_surface_get_width(surface);
    const int high = cairo_image_surface_get_height(surface);
    if (wide <= 0 || high <= 0)
        return std::nullopt;
    completion_.iconArrived(now());
    watchCompletion();
    cairo_surface_t* icon =
        inPoints(cairo_surface_reference(surface), {static_cast<double>(wide), static_cast<double>(high)});
    const auto context = NSGraphicsContext::graphicsContextWithPremultipliedARGB32(
        cairo_image_surface_get_data(icon), wide, high, cairo_image_surface_get_stride(icon));
    NSImage image = NSImage::initWithSize(context->size());
    image.addRepresentation(std::make_shared<const NSBitmapImageRep>(context->bitmap()));
    cairo_surface_destroy(icon);
    return image;
}

cairo_surface_t* WebView::Engine::snapshot() {
    PendingSnapshot pending{g_main_loop_new(nullptr, FALSE), nullptr, nullptr};
    isBusy_ = true;
    webkit_web_view_get_snapshot(view(), WEBKIT_SNAPSHOT_REGION_VISIBLE, WEBKIT_SNAPSHOT_OPTIONS_NONE, nullptr,
                                 snapshotIsReady, &pending);
    g_main_loop_run(pending.loop);
    isBusy_ = false;
    g_main_loop_unref(pending.loop);
    if (!pending.surface) {
        const NSException failure(u"NSGenericException",
                                  stringWithUTF8OrLatin1(pending.error ? pending.error->message : "no snapshot"));
        g_clear_error(&pending.error);
        throw failure;
    }
    return pending.surface;
}

void WebView::Engine::lockFocus() {
    cairo_surface_t* surface = inPoints(snapshot(), frame_.size);
    const std::shared_ptr<const void> owner(
        surface, [](const void* s) { cairo_surface_destroy(static_cast<cairo_surface_t*>(const_cast<void*>(s))); });
    auto context = NSGraphicsContext::graphicsContextWithPremultipliedARGB32(
        cairo_image_surface_get_data(surface), cairo_image_surface_get_width(surface),
        cairo_image_surface_get_height(surface), cairo_image_surface_get_stride(surface), owner);
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(std::move(context));
}

void WebView::Engine::unlockFocus() {
    NSGraphicsContext::restoreGraphicsState();
    if (endsPageWithPicture) {
        close();
        webkit_web_view_terminate_web_process(view());
    }
}

} // namespace platform
