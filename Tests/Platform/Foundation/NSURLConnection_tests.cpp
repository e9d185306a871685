#include "Foundation/NSURLConnection.h"
#include "Tests/Support/LoopbackSite/Certificates.h"
#include "Tests/Support/RawServer.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <gio/gio.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace platform {
namespace {

using namespace std::chrono_literals;
using testing_support::EnvironmentVariable;
using testing_support::httpAnswer;
using testing_support::RawServer;
using testing_support::TemporaryFolder;
using Clock = std::chrono::steady_clock;

class URLConnection : public testing::Test {
protected:
    struct Result {
        std::optional<Data> data;
        std::optional<NSHTTPURLResponse> response;
        std::optional<NSError> error;
        Clock::duration time{};

        [[nodiscard]] std::string text() const {
            return data ? std::string(bytesAsCharacters(*data)) : std::string("(no data)");
        }
        [[nodiscard]] long code() const { return error ? error->code() : 0; }
    };

    static Result load(StringView url, double timeout = 10,
                       NSURLRequestCachePolicy policy = NSURLRequestReturnCacheDataElseLoad) {
        const auto request =
            NSURLRequest::requestWithURL_cachePolicy_timeoutInterval(*NSURL::URLWithString(url), policy, timeout);
        Result result;
        const auto begin = Clock::now();
        result.data =
            NSURLConnection::sendSynchronousRequest_returningResponse_error(request, &result.response, &result.error);
        result.time = Clock::now() - begin;
        return result;
    }

    TemporaryFolder cache_;
    EnvironmentVariable cacheVariable_{"XDG_CACHE_HOME", cache_.path().c_str()};
    EnvironmentVariable proxyVariable_{"http_proxy", nullptr};
};

TEST_F(URLConnection, GivesTheBodyWhateverTheStatus) {
    RawServer server([](const std::string& request, const auto& send) {
        send(httpAnswer(request.starts_with("GET /missing ")  ? 404
                        : request.starts_with("GET /broken ") ? 500
                                                              : 200,
                        request.starts_with("GET /empty ") ? "" : "body"));
    });
    EXPECT_EQ(load(server.url("/a")).text(), "body");
    EXPECT_EQ(load(server.url("/empty")).text(), "");
    const Result missing = load(server.url("/missing"));
    EXPECT_EQ(missing.text(), "body");
    EXPECT_EQ(missing.response->statusCode, 404);
    EXPECT_EQ(load(server.url("/broken")).response->statusCode, 500);
    const auto request = NSURLRequest::requestWithURL(*NSURL::URLWithString(server.url("/a")));
    EXPECT_TRUE(NSURLConnection::sendSynchronousRequest_returningResponse_error(request, nullptr, nullptr));
    for (const std::string& head : server.requests()) {
        EXPECT_THAT(head, testing::StartsWith("GET /"));
        EXPECT_THAT(head, testing::Not(testing::HasSubstr("Authorization")));
    }
}

struct SlowCase {
    const char* name;
    RawServer::Answer answer;
};

TEST_F(URLConnection, TheTimeoutIsForAllOfIt) {
    const auto drip = [](const RawServer::Send& send, const std::string& bytes) {
        while (send(bytes))
            std::this_thread::sleep_for(50ms);
    };
    const SlowCase rows[] = {
        {"never answers", [](const std::string&, const auto&) {}},
        {"drips its head",
         [&](const std::string&, const auto& send) {
             send("HTTP/1.1 200 OK\r\nX: ");
             drip(send, "x");
         }},
        {"drips header lines",
         [&](const std::string&, const auto& send) {
             send("HTTP/1.1 200 OK\r\n");
             drip(send, "X: x\r\n");
         }},
        {"drips its body",
         [&](const std::string&, const auto& send) {
             send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
             drip(send, "x");
         }},
        {"drips pieces",
         [&](const std::string&, const auto& send) {
             send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
             drip(send, "1\r\nx\r\n");
         }},
        {"drips redirects",
         [](const std::string&, const auto& send) {
             std::this_thread::sleep_for(150ms);
             send(httpAnswer(302, "", "Location: /again\r\n"));
         }},
        {"stops in the body",
         [](const std::string&, const auto& send) { send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf"); }},
    };
    for (const SlowCase& row : rows) {
        const RawServer server(row.answer);
        const Result result = load(server.url("/"), 0.5);
        EXPECT_FALSE(result.data) << row.name;
        EXPECT_EQ(result.code(), NSURLErrorTimedOut) << row.name;
        EXPECT_GE(result.time, 450ms) << row.name;
        EXPECT_LT(result.time, 1500ms) << row.name;
    }
}

// A name that never resolves: nothing is answered before the lookup is cancelled.
struct SilentResolver {
    GResolver parent;
};
struct SilentResolverClass {
    GResolverClass parent;
};
void lookUpNothing(GResolver* resolver, const char*, GResolverNameLookupFlags, GCancellable* cancellable,
                   GAsyncReadyCallback callback, gpointer data) {
    GTask* task = g_task_new(resolver, cancellable, callback, data);
    GSource* cancelled = g_cancellable_source_new(cancellable);
    g_task_attach_source(task, cancelled, G_SOURCE_FUNC(+[](GCancellable*, gpointer waiting) -> gboolean {
                             g_task_return_error_if_cancelled(G_TASK(waiting));
                             g_object_unref(waiting);
                             return G_SOURCE_REMOVE;
                         }));
    g_source_unref(cancelled);
}
GList* finishNothing(GResolver*, GAsyncResult* result, GError** error) {
    return static_cast<GList*>(g_task_propagate_pointer(G_TASK(result), error));
}
GType silentResolverType() {
    static const GType type = g_type_register_static_simple(
        G_TYPE_RESOLVER, "SilentResolver", sizeof(SilentResolverClass),
        [](gpointer rawClass, gpointer) {
            auto* resolver = static_cast<GResolverClass*>(rawClass);
            resolver->lookup_by_name_with_flags_async = lookUpNothing;
            resolver->lookup_by_name_with_flags_finish = finishNothing;
            resolver->lookup_by_name_async = [](GResolver* self, const char* name, GCancellable* cancellable,
                                                GAsyncReadyCallback callback, gpointer data) {
                lookUpNothing(self, name, G_RESOLVER_NAME_LOOKUP_FLAGS_DEFAULT, cancellable, callback, data);
            };
            resolver->lookup_by_name_finish = finishNothing;
        },
        sizeof(SilentResolver), nullptr, GTypeFlags{});
    return type;
}

TEST_F(URLConnection, ANameThatNeverResolvesTimesOut) {
    GResolver* usual = g_resolver_get_default();
    auto* silent = static_cast<GResolver*>(g_object_new(silentResolverType(), nullptr));
    g_resolver_set_default(silent);
    const Result result = load(u"http://slow.example/", 0.5);
    g_resolver_set_default(usual);
    g_object_unref(silent);
    g_object_unref(usual);
    EXPECT_FALSE(result.data);
    EXPECT_EQ(result.code(), NSURLErrorTimedOut);
    EXPECT_LT(result.time, 1500ms);
}

TEST_F(URLConnection, WhatIsNotThereIsNoData) {
    EXPECT_FALSE(load(u"http://127.0.0.1:1/").data);
    EXPECT_FALSE(load(u"ftp://127.0.0.1/").data);
    EXPECT_FALSE(load(u"file:///etc/passwd").data);
    EXPECT_FALSE(load(u"data:,x").data);
    EXPECT_FALSE(load(u"a").data);
}

TEST_F(URLConnection, ABodyThatEndsEarlyIsNoData) {
    const RawServer server(
        [](const std::string&, const auto& send) { send(httpAnswer(302, "", "Location: file:///etc/passwd\r\n")); });
    EXPECT_FALSE(load(server.url("/")).data) << "a redirect to a file";
    int fetches = 0;
    const RawServer cutting([&fetches](const std::string& request, const auto& send) {
        ++fetches;
        send(request.starts_with("GET /302 ") ? httpAnswer(302, "", "Location: /302\r\n")
                                              : std::string("garbage\r\n\r\n"));
    });
    EXPECT_FALSE(load(cutting.url("/302"), 5).data) << "redirects without an end";
    EXPECT_LT(fetches, 50);
}

std::string compressed(std::size_t zeros) {
    const std::string plain(zeros, '\0');
    GConverter* compressor = G_CONVERTER(g_zlib_compressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP, 9));
    std::string out(zeros / 100 + 1000, '\0');
    gsize read = 0;
    gsize written = 0;
    g_converter_convert(compressor, plain.data(), plain.size(), out.data(), out.size(), G_CONVERTER_INPUT_AT_END, &read,
                        &written, nullptr);
    g_object_unref(compressor);
    out.resize(written);
    return out;
}

TEST_F(URLConnection, ABodyBeyondTheBoundIsNoData) {
    const std::string bomb = compressed(std::size_t{64} << 20);
    const RawServer server([&bomb](const std::string& request, const auto& send) {
        if (request.starts_with("GET /bomb ")) {
            send(httpAnswer(200, bomb, "Content-Encoding: gzip\r\n"));
        } else if (request.starts_with("GET /largest ")) {
            send(httpAnswer(200, std::string(NSURLConnection::largestBody, 'x')));
        } else if (request.starts_with("GET /larger ")) {
            send(httpAnswer(200, std::string(NSURLConnection::largestBody + 1, 'x')));
        } else {
            send("HTTP/1.1 200 OK\r\n\r\n");
            while (send(std::string(65536, 'x'))) {
            }
        }
    });
    EXPECT_EQ(load(server.url("/largest")).text().size(), NSURLConnection::largestBody);
    for (const char* path : {"/larger", "/bomb", "/endless"}) {
        const Result result = load(server.url(path));
        EXPECT_FALSE(result.data) << path;
        EXPECT_EQ(result.code(), NSURLErrorDataLengthExceedsMaximum) << path;
    }
}

TEST_F(URLConnection, HandlesNoCookiesUnlessTheRequestClassSaysSo) {
    const auto before = NSURLRequest::classOperations();
    const RawServer server([](const std::string&, const auto& send) {
        send(httpAnswer(200, "x", "Set-Cookie: a=b; Path=/\r\nCache-Control: no-store\r\n"));
    });
    NSURLRequest::classOperations().HTTPShouldHandleCookies = [] { return false; };
    (void)load(server.url("/1"));
    (void)load(server.url("/2"));
    NSURLRequest::classOperations().HTTPShouldHandleCookies = [] { return true; };
    (void)load(server.url("/3"));
    (void)load(server.url("/4"));
    NSURLRequest::classOperations().HTTPShouldHandleCookies = [] { return false; };
    (void)load(server.url("/5"));
    NSURLRequest::classOperations() = before;
    std::vector<bool> sent;
    for (const std::string& head : server.requests())
        sent.push_back(head.find("\r\nCookie: ") != std::string::npos);
    EXPECT_THAT(sent, testing::ElementsAre(false, false, false, true, false));
}

TEST_F(URLConnection, RunsNothingOfTheMainLoop) {
    const RawServer server([](const std::string&, const auto& send) {
        std::this_thread::sleep_for(50ms);
        send(httpAnswer(200, "x"));
    });
    bool called = false;
    const guint source = g_idle_add(
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_CONTINUE;
        },
        &called);
    EXPECT_EQ(load(server.url("/")).text(), "x");
    g_source_remove(source);
    EXPECT_FALSE(called);
    EXPECT_EQ(g_main_context_get_thread_default(), nullptr);
}

TEST_F(URLConnection, UsesTheSystemsProxies) {
    const RawServer proxy([](const std::string&, const auto& send) { send(httpAnswer(200, "through the proxy")); });
    const std::string address = "http://127.0.0.1:" + std::to_string(proxy.port());
    const EnvironmentVariable variable("http_proxy", address.c_str());
    EXPECT_EQ(load(u"http://icons.example/a.png").text(), "through the proxy");
    ASSERT_EQ(proxy.requests().size(), 1u);
    EXPECT_THAT(proxy.requests()[0], testing::StartsWith("GET http://icons.example/a.png "));
}

// ---- what is kept ----

struct StoringCase {
    const char* name;
    std::string answer;
    bool stored;
};

TEST_F(URLConnection, KeepsWhatMayBeKept) {
    const StoringCase rows[] = {
        {"plain", httpAnswer(200, "x"), true},
        {"stale at once",
         httpAnswer(200, "x", "Cache-Control: max-age=0\r\nExpires: Thu, 01 Jan 1970 00:00:00 GMT\r\n"), true},
        {"to be asked about", httpAnswer(200, "x", "Cache-Control: no-cache\r\n"), true},
        {"for one user", httpAnswer(200, "x", "Cache-Control: private, max-age=60\r\n"), true},
        {"by language", httpAnswer(200, "x", "Vary: Accept-Language\r\n"), true},
        {"forbidden", httpAnswer(200, "x", "Cache-Control: no-store\r\n"), false},
        {"forbidden among others", httpAnswer(200, "x", "Cache-Control: max-age=9\r\nCache-Control: No-Store\r\n"),
         false},
        {"by anything", httpAnswer(200, "x", "Vary: *\r\n"), false},
        {"missing", httpAnswer(404, "x", "Cache-Control: max-age=60\r\n"), false},
        {"broken", httpAnswer(500, "x"), false},
        {"a part", httpAnswer(206, "x"), false},
    };
    for (const StoringCase& row : rows) {
        const RawServer server([&row](const std::string&, const auto& send) { send(row.answer); });
        const Result first = load(server.url("/icon"));
        const Result second = load(server.url("/icon"));
        EXPECT_EQ(first.text(), "x") << row.name;
        EXPECT_EQ(second.text(), "x") << row.name;
        EXPECT_EQ(second.response->statusCode, first.response->statusCode) << row.name;
        EXPECT_EQ(server.requests().size(), row.stored ? 1u : 2u) << row.name;
    }
}

struct RedirectCase {
    int status;
    const char* headers;
    bool stored;
};

TEST_F(URLConnection, KeepsARedirectThatHolds) {
    const RedirectCase rows[] = {{301, "", true},
                                 {308, "", true},
                                 {302, "", false},
                                 {303, "", false},
                                 {307, "", false},
                                 {302, "Cache-Control: max-age=60\r\n", true},
                                 {301, "Cache-Control: no-store\r\n", false}};
    for (const RedirectCase& row : rows) {
        const RawServer server([&row](const std::string& request, const auto& send) {
            const bool first = request.starts_with("GET /icon ");
            send(first ? httpAnswer(row.status, "", std::string("Location: /there\r\n") + row.headers)
                       : httpAnswer(200, "x"));
        });
        EXPECT_EQ(load(server.url("/icon")).text(), "x") << row.status;
        EXPECT_EQ(load(server.url("/icon")).text(), "x") << row.status;
        EXPECT_EQ(server.requests().size(), row.stored ? 2u : 4u) << row.status << row.headers;
    }
}

TEST_F(URLConnection, UsesWhatIsKeptAsThePolicySays) {
    const RawServer server([](const std::string&, const auto& send) { send(httpAnswer(200, "x")); });
    const Result absent = load(server.url("/icon"), 10, NSURLRequestReturnCacheDataDontLoad);
    EXPECT_FALSE(absent.data);
    EXPECT_EQ(absent.code(), NSURLErrorResourceUnavailable);
    EXPECT_EQ(load(server.url("/icon"), 10, NSURLRequestReloadIgnoringLocalCacheData).text(), "x");
    EXPECT_FALSE(load(server.url("/icon"), 10, NSURLRequestReturnCacheDataDontLoad).data) << "it was not kept";
    EXPECT_EQ(load(server.url("/icon")).text(), "x");
    EXPECT_EQ(load(server.url("/icon"), 10, NSURLRequestReturnCacheDataDontLoad).text(), "x");
    EXPECT_EQ(load(server.url("/icon"), 10, NSURLRequestUseProtocolCachePolicy).text(), "x");
    EXPECT_EQ(server.requests().size(), 3u);
    EXPECT_EQ(load(server.url("/icon?")).text(), "x") << "another URL";
    EXPECT_EQ(server.requests().size(), 4u);
}

TEST_F(URLConnection, KeepsNothingHalf) {
    const RawServer server([](const std::string&, const auto& send) {
        send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\nConnection: close\r\n\r\nhalf");
    });
    EXPECT_FALSE(load(server.url("/"), 0.3).data);
    EXPECT_FALSE(std::filesystem::exists(cache_ / "tessaro-thumbs"));
}

// ---- certificates ----

TEST_F(URLConnection, ChecksCertificates) {
    const TemporaryFolder folder;
    const loopback_site::Certificates certificates = loopback_site::makeCertificates(folder.path());
    GError* failure = nullptr;
    GTlsCertificate* certificate = g_tls_certificate_new_from_files(certificates.selfSigned.certificate.c_str(),
                                                                    certificates.selfSigned.key.c_str(), &failure);
    ASSERT_NE(certificate, nullptr) << failure->message;
    GSocketService* service = g_threaded_socket_service_new(4);
    g_signal_connect(
        service, "run", G_CALLBACK(+[](GThreadedSocketService*, GSocketConnection* connection, GObject*, gpointer own) {
            GIOStream* secure = g_tls_server_connection_new(G_IO_STREAM(connection), G_TLS_CERTIFICATE(own), nullptr);
            char piece[2048];
            if (g_input_stream_read(g_io_stream_get_input_stream(secure), piece, sizeof piece, nullptr, nullptr) > 0) {
                const std::string answer = httpAnswer(200, "secret", "Cache-Control: no-store\r\n");
                g_output_stream_write_all(g_io_stream_get_output_stream(secure), answer.data(), answer.size(), nullptr,
                                          nullptr, nullptr);
            }
            g_io_stream_close(secure, nullptr, nullptr);
            g_object_unref(secure);
            return TRUE;
        }),
        certificate);
    const guint16 port = g_socket_listener_add_any_inet_port(G_SOCKET_LISTENER(service), nullptr, &failure);
    ASSERT_NE(port, 0);
    g_socket_service_start(service);
    // The service accepts in the default context, which the load does not run.
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    std::thread serving([loop] { g_main_loop_run(loop); });
    const std::string text = "https://127.0.0.1:" + std::to_string(port) + "/";
    const String url(text.begin(), text.end());

    const auto before = NSURLRequest::classOperations();
    const Result refused = load(url);
    EXPECT_FALSE(refused.data);
    EXPECT_EQ(refused.code(), NSURLErrorServerCertificateUntrusted);
    NSURLRequest::classOperations().allowsAnyHTTPSCertificateForHost = [](StringView host) {
        return host == u"127.0.0.1";
    };
    EXPECT_EQ(load(url).text(), "secret") << "an application that replaced the answer";
    NSURLRequest::classOperations() = before;

    g_main_loop_quit(loop);
    serving.join();
    g_main_loop_unref(loop);
    g_socket_service_stop(service);
    g_socket_listener_close(G_SOCKET_LISTENER(service));
    g_object_unref(service);
    g_object_unref(certificate);
}

} // namespace
} // namespace platform
