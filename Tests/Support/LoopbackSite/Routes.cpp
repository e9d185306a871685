#include "Routes.h"

#include "HeavyPage.h"

#include <libsoup/soup.h>

#include <array>
#include <fstream>
#include <iterator>

namespace loopback_site {

namespace {

constexpr const char* html = "text/html; charset=utf-8";

std::string page(const std::string& head, const std::string& body) {
    return "<!doctype html><html><head><meta charset=utf-8>" + head + "</head><body>" + body + "</body></html>\n";
}

void setHeader(SoupServerMessage* message, const char* name, const std::string& value) {
    soup_message_headers_replace(soup_server_message_get_response_headers(message), name, value.c_str());
}

std::string lastPart(const Query& query) {
    return query.path.substr(query.path.rfind('/') + 1);
}

void status(SoupServerMessage* message, const Query& query) {
    const auto code = static_cast<unsigned>(std::strtoul(lastPart(query).c_str(), nullptr, 10));
    const bool hasBody = code != SOUP_STATUS_NO_CONTENT && code != SOUP_STATUS_NOT_MODIFIED;
    answer(message, code, html, hasBody ? page("", "<h1>Status " + lastPart(query) + "</h1>") : "");
}

void empty(SoupServerMessage* message, const Query&) {
    answer(message, SOUP_STATUS_OK, html, "");
}

void archive(SoupServerMessage* message, const Query&) {
    // The smallest archive there is: an end record without entries.
    static constexpr std::array<char, 22> none = {'P', 'K', 5, 6};
    answer(message, SOUP_STATUS_OK, "application/zip", {none.data(), none.size()});
}

void attachment(SoupServerMessage* message, const Query&) {
    answer(message, SOUP_STATUS_OK, html, page("", "never shown"));
    setHeader(message, "Content-Disposition", "attachment; filename=\"left-behind.html\"");
}

void unknownType(SoupServerMessage* message, const Query&) {
    answer(message, SOUP_STATUS_OK, "application/x-nobody-knows", "\x01\x02\x03");
}

void redirect(SoupServerMessage* message, const Query& query) {
    answer(message, query.number("status", SOUP_STATUS_FOUND), html, "");
    setHeader(message, "Location", query.parameter("to", "/plain.html"));
}

void redirectChain(SoupServerMessage* message, const Query& query) {
    const unsigned long hops = std::strtoul(lastPart(query).c_str(), nullptr, 10);
    answer(message, SOUP_STATUS_FOUND, html, "");
    setHeader(message, "Location", hops > 1 ? "/redirect/chain/" + std::to_string(hops - 1) : "/plain.html");
}

void challenge(SoupServerMessage* message, const Query& query) {
    static const std::map<std::string, const char*> challenges = {
        {"basic", R"(Basic realm="the test realm")"},
        {"digest", R"(Digest realm="the test realm", nonce="5f3b9c1d", qop="auth", algorithm=MD5)"},
        {"bearer", R"(Bearer realm="the test realm")"},
    };
    answer(message, SOUP_STATUS_UNAUTHORIZED, html, page("", "<h1>Not for you</h1>"));
    const auto found = challenges.find(lastPart(query));
    if (found != challenges.end())
        setHeader(message, "WWW-Authenticate", found->second);
}

gboolean closeNow(void* connection) {
    g_io_stream_close(static_cast<GIOStream*>(connection), nullptr, nullptr);
    return G_SOURCE_REMOVE;
}

void closeConnection(SoupServerMessage* message, const Query& query) {
    static const std::map<std::string, std::string> beginnings = {
        {"before", ""},
        {"headers", "HTTP/1.1 200 OK\r\nContent-Type: text/ht"},
        {"body", "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 100000\r\n\r\n<!doctype html>" +
                     std::string(4000, ' ') + "<p>cut"},
    };
    const auto found = beginnings.find(lastPart(query));
    const std::string bytes = found == beginnings.end() ? "" : found->second;
    GIOStream* connection = soup_server_message_steal_connection(message);
    g_output_stream_write_all(g_io_stream_get_output_stream(connection), bytes.data(), bytes.size(), nullptr, nullptr,
                              nullptr);
    // A while later, so that the client has seen what came before it sees the end.
    g_timeout_add_full(G_PRIORITY_DEFAULT, 150, closeNow, connection, g_object_unref);
}

void never(SoupServerMessage* message, const Query&) {
    soup_server_message_pause(message);
}

// A page that goes on growing; it ends with its connection.
struct Drip {
    SoupServerMessage* message;
    guint timer = 0;
    unsigned lines = 0;
};

gboolean appendLine(void* data) {
    auto* drip = static_cast<Drip*>(data);
    const std::string line = "<p>Line " + std::to_string(++drip->lines) + "\n";
    soup_message_body_append(soup_server_message_get_response_body(drip->message), SOUP_MEMORY_COPY, line.data(),
                             line.size());
    soup_server_message_unpause(drip->message);
    return G_SOURCE_CONTINUE;
}

void stopDripping(SoupServerMessage*, void* data) {
    auto* drip = static_cast<Drip*>(data);
    g_source_remove(drip->timer);
    delete drip;
}

void drip(SoupServerMessage* message, const Query& query) {
    answer(message, SOUP_STATUS_OK, query.parameter("type", html).c_str(), "<!doctype html><title>Drip</title>\n");
    soup_message_headers_set_encoding(soup_server_message_get_response_headers(message), SOUP_ENCODING_CHUNKED);
    auto* growing = new Drip{message};
    growing->timer = g_timeout_add(query.number("ms", 50), appendLine, growing);
    g_signal_connect(message, "finished", G_CALLBACK(stopDripping), growing);
}

void beacon(SoupServerMessage* message, const Query&) {
    answer(message, SOUP_STATUS_OK, "text/plain", "heard\n");
}

void withIcon(SoupServerMessage* message, const Query& query) {
    const std::string type = query.parameter("type");
    const std::string link = "<link rel=icon href=\"" + query.parameter("href", "data:,") + "\"" +
                             (type.empty() ? "" : " type=\"" + type + "\"") + ">";
    answer(message, SOUP_STATUS_OK, html, page(link, "<h1>A page with an icon</h1>"));
}

void setCookies(SoupServerMessage* message, const Query&) {
    answer(message, SOUP_STATUS_OK, html,
           page("", "<h1>Cookies</h1><script>document.cookie='script=1';"
                    "const ask=new XMLHttpRequest();"
                    "ask.open('GET','/cookie/probe?seen='+encodeURIComponent(document.cookie),false);ask.send();"
                    "</script><img src='/cookie/probe?picture'>"));
    setHeader(message, "Set-Cookie", "header=1; Path=/; Max-Age=3600");
}

void heavy(SoupServerMessage* message, const Query&) {
    answer(message, SOUP_STATUS_OK, html, heavyPage());
}

void webFont(SoupServerMessage* message, const Query&) {
    // The font is the machine's own: it is large, and what matters here is that the page waits for one.
    std::ifstream file("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", std::ios::binary);
    const std::string body{std::istreambuf_iterator<char>(file), {}};
    answer(message, body.empty() ? SOUP_STATUS_NOT_FOUND : SOUP_STATUS_OK, "font/ttf", body);
}

struct Route {
    std::string_view path; // one that ends with "/" stands for everything below it
    void (*answer)(SoupServerMessage*, const Query&);
};

constexpr Route routes[] = {
    {"/status/", status},
    {"/empty", empty},
    {"/archive.zip", archive},
    {"/attachment", attachment},
    {"/unknown-type", unknownType},
    {"/redirect", redirect},
    {"/redirect/chain/", redirectChain},
    {"/auth/", challenge},
    {"/close/", closeConnection},
    {"/never", never},
    {"/drip", drip},
    {"/beacon", beacon},
    {"/cookie/probe", beacon},
    {"/cookie/set", setCookies},
    {"/with-icon", withIcon},
    {"/heavy/", heavy},
    {"/fonts/web.ttf", webFont},
};

} // namespace

bool answerRoute(SoupServerMessage* message, const Query& query) {
    for (const Route& route : routes)
        if (route.path.ends_with('/') ? query.path.starts_with(route.path) : query.path == route.path) {
            route.answer(message, query);
            return true;
        }
    return false;
}

} // namespace loopback_site
