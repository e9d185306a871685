#include "LoopbackSite.h"

#include <libsoup/soup.h>

#include <array>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace loopback_site {

namespace {

struct ContentType {
    const char* extension;
    const char* type;
};

constexpr ContentType contentTypes[] = {
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css"},
    {".js", "text/javascript"},
    {".png", "image/png"},
    {".jpg", "image/jpeg"},
    {".gif", "image/gif"},
    {".ico", "image/vnd.microsoft.icon"},
    {".svg", "image/svg+xml"},
    {".ttf", "font/ttf"},
    {".zip", "application/zip"},
    {".txt", "text/plain"},
};

const char* contentTypeOf(const std::filesystem::path& file) {
    for (const ContentType& known : contentTypes)
        if (file.extension() == known.extension)
            return known.type;
    return "application/octet-stream";
}

void appendHeader(const char* name, const char* value, void* line) {
    static_cast<std::string*>(line)->append("\t").append(name).append(": ").append(value);
}

struct DelayedAnswer {
    SoupServerMessage* message;
    guint timer = 0;
};

gboolean sendNow(void* data) {
    auto* delayed = static_cast<DelayedAnswer*>(data);
    delayed->timer = 0;
    soup_server_message_unpause(delayed->message);
    return G_SOURCE_REMOVE;
}

// The client may be gone before the time has come.
void forgetDelay(SoupServerMessage*, void* data) {
    auto* delayed = static_cast<DelayedAnswer*>(data);
    if (delayed->timer != 0)
        g_source_remove(delayed->timer);
    delete delayed;
}

void delay(SoupServerMessage* message, unsigned milliseconds) {
    auto* delayed = new DelayedAnswer{message};
    soup_server_message_pause(message);
    delayed->timer = g_timeout_add(milliseconds, sendNow, delayed);
    g_signal_connect(message, "finished", G_CALLBACK(forgetDelay), delayed);
}

std::runtime_error failure(const char* what, GError* error) {
    const std::string text = std::string(what) + ": " + (error != nullptr ? error->message : "unknown error");
    g_clear_error(&error);
    return std::runtime_error(text);
}

} // namespace

std::string Query::parameter(const std::string& name, const std::string& otherwise) const {
    const auto found = parameters.find(name);
    return found == parameters.end() ? otherwise : found->second;
}

unsigned Query::number(const std::string& name, unsigned otherwise) const {
    const std::string text = parameter(name);
    return text.empty() ? otherwise : static_cast<unsigned>(std::strtoul(text.c_str(), nullptr, 10));
}

void answer(SoupServerMessage* message, unsigned status, const char* contentType, std::string_view body) {
    soup_server_message_set_status(message, status, nullptr);
    // Every run of the helper begins without a cache; so does every request of a test.
    soup_message_headers_replace(soup_server_message_get_response_headers(message), "Cache-Control", "no-store");
    soup_server_message_set_response(message, contentType, SOUP_MEMORY_COPY, body.data(), body.size());
}

LoopbackSite::LoopbackSite(std::filesystem::path folder, Handler handler, std::FILE* requestLog)
    : folder_(std::move(folder)), handler_(std::move(handler)), requestLog_(requestLog) {}

LoopbackSite::~LoopbackSite() = default;

void LoopbackSite::StopServer::operator()(SoupServer* server) const {
    soup_server_disconnect(server);
    g_object_unref(server);
}

std::uint16_t LoopbackSite::listen(std::uint16_t preferredPort, const CertificateFiles* certificate) {
    std::unique_ptr<SoupServer, StopServer> server(soup_server_new("server-header", "loopback-site ", nullptr));
    soup_server_add_handler(server.get(), nullptr, onRequest, this, nullptr);
    GError* error = nullptr;
    if (certificate != nullptr) {
        GTlsCertificate* pair =
            g_tls_certificate_new_from_files(certificate->certificate.c_str(), certificate->key.c_str(), &error);
        if (pair == nullptr)
            throw failure("the certificate cannot be read", error);
        soup_server_set_tls_certificate(server.get(), pair);
        g_object_unref(pair);
    }
    std::uint16_t port = 0;
    for (const std::uint16_t candidate : {preferredPort, std::uint16_t{0}}) {
        g_clear_error(&error);
        GSocketAddress* address = g_inet_socket_address_new_from_string("127.0.0.1", candidate);
        const auto options = certificate != nullptr ? SOUP_SERVER_LISTEN_HTTPS : SoupServerListenOptions{};
        const bool listening = soup_server_listen(server.get(), address, options, &error) != 0;
        g_object_unref(address);
        if (!listening)
            continue;
        GSList* addresses = soup_server_get_uris(server.get());
        port = static_cast<std::uint16_t>(g_uri_get_port(static_cast<GUri*>(addresses->data)));
        g_slist_free_full(addresses, reinterpret_cast<GDestroyNotify>(g_uri_unref));
        break;
    }
    if (port == 0)
        throw failure("no port to listen on", error);
    servers_.push_back(std::move(server));
    return port;
}

void LoopbackSite::onRequest(SoupServer*, SoupServerMessage* message, const char* path, GHashTable* query, void* self) {
    const auto& site = *static_cast<LoopbackSite*>(self);
    site.log(message);
    Query asked{path, {}};
    if (query != nullptr) {
        GHashTableIter iterator;
        void* name = nullptr;
        void* value = nullptr;
        g_hash_table_iter_init(&iterator, query);
        while (g_hash_table_iter_next(&iterator, &name, &value) != 0)
            asked.parameters[static_cast<const char*>(name)] = static_cast<const char*>(value);
    }
    if (!site.handler_ || !site.handler_(message, asked))
        site.answerWithFile(message, asked.path);
    if (const unsigned milliseconds = asked.number("delay", 0); milliseconds > 0)
        delay(message, milliseconds);
}

void LoopbackSite::log(SoupServerMessage* message) const {
    if (requestLog_ == nullptr)
        return;
    GUri* address = soup_server_message_get_uri(message);
    const char* query = g_uri_get_query(address);
    std::string line = std::string(soup_server_message_get_method(message)) + " " + g_uri_get_path(address) +
                       (query != nullptr ? std::string("?") + query : "");
    soup_message_headers_foreach(soup_server_message_get_request_headers(message), appendHeader, &line);
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), requestLog_);
    std::fflush(requestLog_);
}

void LoopbackSite::answerWithFile(SoupServerMessage* message, const std::string& path) const {
    const std::filesystem::path relative = std::filesystem::path(path).relative_path().lexically_normal();
    std::filesystem::path file = folder_ / relative;
    if (path.ends_with('/'))
        file /= "index.html";
    std::ifstream stream(file, std::ios::binary);
    if (folder_.empty() || *relative.begin() == ".." || !stream || !std::filesystem::is_regular_file(file)) {
        answer(message, SOUP_STATUS_NOT_FOUND, "text/html; charset=utf-8", "<!doctype html><h1>Nothing here</h1>\n");
        return;
    }
    const std::string body{std::istreambuf_iterator<char>(stream), {}};
    answer(message, SOUP_STATUS_OK, contentTypeOf(file), body);
    if (fileStoring_ != nullptr)
        soup_message_headers_replace(soup_server_message_get_response_headers(message), "Cache-Control", fileStoring_);
}

} // namespace loopback_site
