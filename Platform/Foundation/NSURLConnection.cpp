#include "NSURLConnection.h"

#include "NSURLCache.h"

#include <algorithm>
#include <cerrno>
#include <libsoup/soup.h>
#include <memory>

namespace platform {
namespace {

struct Unreference {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct DestroySource {
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
using Message = std::unique_ptr<SoupMessage, Unreference>;
using Stream = std::unique_ptr<GInputStream, Unreference>;
using Cancellable = std::unique_ptr<GCancellable, Unreference>;
using Source = std::unique_ptr<GSource, DestroySource>;

// The context in which the library expects every one of its calls, the last release of a stream included.
class ContextScope {
public:
    explicit ContextScope(GMainContext* context) : context_(context) { g_main_context_push_thread_default(context); }
    ~ContextScope() { g_main_context_pop_thread_default(context_); }
    ContextScope(const ContextScope&) = delete;
    ContextScope& operator=(const ContextScope&) = delete;

private:
    GMainContext* context_;
};

// One session and one event context serve the whole process, so that a second request finds the connection open. They
// live as long as it does.
struct Loader {
    GMainContext* context = g_main_context_new();
    SoupSession* session = nullptr;

    [[nodiscard]] static Loader& shared() {
        static Loader loader;
        return loader;
    }

private:
    Loader() {
        const ContextScope scope(context);
        session = soup_session_new();
        soup_session_set_user_agent(session, program_invocation_short_name);
    }
};

bool listContains(SoupMessageHeaders* headers, const char* name, const char* directive) {
    const char* list = soup_message_headers_get_list(headers, name);
    GHashTable* directives = list ? soup_header_parse_param_list(list) : nullptr;
    const bool contains = directives && g_hash_table_contains(directives, directive);
    if (directives)
        soup_header_free_param_list(directives);
    return contains;
}

// Whether a response may be kept, by HTTP's rules for a cache of one user. Only whole successes are: their age is never
// asked for later, and an icon that is missing today would be missing for ever. A redirect on the way may be kept when
// it is permanent or says itself how long it holds.
bool mayBeStored(SoupMessage* message) {
    SoupMessageHeaders* headers = soup_message_get_response_headers(message);
    if (listContains(headers, "Cache-Control", "no-store") || listContains(headers, "Vary", "*"))
        return false;
    switch (static_cast<int>(soup_message_get_status(message))) {
    case SOUP_STATUS_OK:
    case SOUP_STATUS_NON_AUTHORITATIVE:
    case SOUP_STATUS_MOVED_PERMANENTLY:
    case SOUP_STATUS_PERMANENT_REDIRECT:
        return true;
    case SOUP_STATUS_FOUND:
    case SOUP_STATUS_TEMPORARY_REDIRECT:
        return listContains(headers, "Cache-Control", "max-age") ||
               soup_message_headers_get_one(headers, "Expires") != nullptr;
    default:
        return false;
    }
}

// One load, from the request to the last byte; its functions are called by the shared context's sources.
class Load {
public:
    Load(SoupMessage* message, double timeout)
        : message_(message), cancellable_(g_cancellable_new()),
          deadline_(g_timeout_source_new(static_cast<guint>(std::max(0.0, timeout * 1000)))) {
        g_signal_connect(message, "accept-certificate", G_CALLBACK(acceptCertificate), nullptr);
        g_signal_connect(message, "got-headers", G_CALLBACK(gotHeaders), this);
        g_source_set_callback(deadline_.get(), deadlinePassed, this, nullptr);
    }
    ~Load() { g_signal_handlers_disconnect_by_data(message_, this); }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    void run(const Loader& loader) {
        g_source_attach(deadline_.get(), loader.context);
        soup_session_send_async(loader.session, message_, G_PRIORITY_DEFAULT, cancellable_.get(), sent, this);
        while (!done_)
            g_main_context_iteration(loader.context, TRUE);
    }

    [[nodiscard]] bool succeeded() const { return errorCode_ == 0; }
    [[nodiscard]] long errorCode() const { return timedOut_ ? NSURLErrorTimedOut : errorCode_; }
    [[nodiscard]] bool mayBeStored() const { return mayBeStored_; }
    [[nodiscard]] Data takeBody() { return std::move(body_); }

private:
    static gboolean acceptCertificate(SoupMessage* message, GTlsCertificate*, GTlsCertificateFlags, gpointer) {
        const char* host = g_uri_get_host(soup_message_get_uri(message));
        return NSURLRequest::allowsAnyHTTPSCertificateForHost(stringWithUTF8OrLatin1(host ? host : ""));
    }

    // Once for every response on the way: redirects too.
    static void gotHeaders(SoupMessage* message, gpointer self) {
        auto& load = *static_cast<Load*>(self);
        load.mayBeStored_ = load.mayBeStored_ && platform::mayBeStored(message);
    }

    static gboolean deadlinePassed(gpointer self) {
        auto& load = *static_cast<Load*>(self);
        load.timedOut_ = true;
        g_cancellable_cancel(load.cancellable_.get());
        return G_SOURCE_CONTINUE;
    }

    static void sent(GObject* session, GAsyncResult* result, gpointer self) {
        auto& load = *static_cast<Load*>(self);
        GError* error = nullptr;
        load.stream_.reset(soup_session_send_finish(SOUP_SESSION(session), result, &error));
        if (load.stream_)
            load.readMore();
        else
            load.fail(error);
    }

    void readMore() {
        constexpr gsize piece = 65536;
        g_input_stream_read_bytes_async(stream_.get(), piece, G_PRIORITY_DEFAULT, cancellable_.get(), received, this);
    }

    static void received(GObject* stream, GAsyncResult* result, gpointer self) {
        auto& load = *static_cast<Load*>(self);
        GError* error = nullptr;
        GBytes* bytes = g_input_stream_read_bytes_finish(G_INPUT_STREAM(stream), result, &error);
        if (!bytes) {
            load.fail(error);
            return;
        }
        gsize length = 0;
        const auto* data = static_cast<const std::uint8_t*>(g_bytes_get_data(bytes, &length));
        load.body_.insert(load.body_.end(), data, data + length);
        g_bytes_unref(bytes);
        if (length == 0)
            load.done_ = true;
        else if (load.body_.size() > NSURLConnection::largestBody)
            load.end(NSURLErrorDataLengthExceedsMaximum);
        else
            load.readMore();
    }

    void fail(GError* error) {
        const bool untrusted = g_error_matches(error, G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE);
        const bool unconnected = error->domain == G_RESOLVER_ERROR || error->domain == G_IO_ERROR;
        g_error_free(error);
        end(untrusted     ? NSURLErrorServerCertificateUntrusted
            : unconnected ? NSURLErrorCannotConnectToHost
                          : NSURLErrorUnknown);
    }

    void end(long code) {
        errorCode_ = code;
        done_ = true;
    }

    SoupMessage* message_;
    Cancellable cancellable_;
    Source deadline_;
    Stream stream_;
    Data body_;
    bool mayBeStored_ = true;
    bool timedOut_ = false;
    bool done_ = false;
    long errorCode_ = 0;
};

void followAnswerAboutCookies(SoupSession* session, SoupMessage* message) {
    if (!NSURLRequest::HTTPShouldHandleCookies())
        soup_message_disable_feature(message, SOUP_TYPE_COOKIE_JAR);
    else if (!soup_session_has_feature(session, SOUP_TYPE_COOKIE_JAR))
        soup_session_add_feature_by_type(session, SOUP_TYPE_COOKIE_JAR);
}

bool isLoadable(const NSURL& url) {
    const std::string scheme = lossyUTF8String(url.scheme().value_or(u""));
    return (g_ascii_strcasecmp(scheme.c_str(), "http") == 0 || g_ascii_strcasecmp(scheme.c_str(), "https") == 0) &&
           url.host().has_value();
}

std::optional<Data> failed(long code, NSErrorPointer error) {
    if (error)
        *error = NSError(NSURLErrorDomain, code);
    return std::nullopt;
}

void answer(std::optional<NSHTTPURLResponse>* response, int status) {
    if (response)
        *response = NSHTTPURLResponse{status};
}

std::optional<Data> loadFromNetwork(const NSURLRequest& request, std::optional<NSHTTPURLResponse>* response,
                                    NSErrorPointer error) {
    const String& url = request.URL().absoluteString();
    if (!isLoadable(request.URL()))
        return failed(NSURLErrorUnsupportedURL, error);
    const Loader& loader = Loader::shared();
    const ContextScope scope(loader.context);
    const Message message(soup_message_new(SOUP_METHOD_GET, lossyUTF8String(url).c_str()));
    if (!message)
        return failed(NSURLErrorUnsupportedURL, error);
    followAnswerAboutCookies(loader.session, message.get());
    Load load(message.get(), request.timeoutInterval());
    load.run(loader);
    if (!load.succeeded())
        return failed(load.errorCode(), error);
    const NSCachedURLResponse loaded{static_cast<int>(soup_message_get_status(message.get())), load.takeBody()};
    if (load.mayBeStored() && request.cachePolicy() != NSURLRequestReloadIgnoringLocalCacheData)
        NSURLCache::sharedURLCache().storeCachedResponse_forURL(loaded, url);
    answer(response, loaded.statusCode);
    return loaded.data;
}

} // namespace

std::optional<Data> NSURLConnection::sendSynchronousRequest_returningResponse_error(
    const NSURLRequest& request, std::optional<NSHTTPURLResponse>* response, NSErrorPointer error) {
    const NSURLRequestCachePolicy policy = request.cachePolicy();
    // Without the cache's word on freshness, a request that follows the protocol has to ask the server.
    if (policy == NSURLRequestReturnCacheDataElseLoad || policy == NSURLRequestReturnCacheDataDontLoad) {
        auto cached = NSURLCache::sharedURLCache().cachedResponseForURL(request.URL().absoluteString());
        if (cached) {
            answer(response, cached->statusCode);
            return std::move(cached->data);
        }
        if (policy == NSURLRequestReturnCacheDataDontLoad)
            return failed(NSURLErrorResourceUnavailable, error);
    }
    return loadFromNetwork(request, response, error);
}

} // namespace platform
