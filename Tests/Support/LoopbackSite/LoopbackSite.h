// A web site on this machine's loopback interface: the files of one folder, and the routes of Routes.h when asked for.
//
// One server per certificate, all with the same content. Everything happens on the thread that runs the main loop.
#pragma once

#include "Certificates.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

typedef struct _SoupServer SoupServer;
typedef struct _SoupServerMessage SoupServerMessage;
typedef struct _GHashTable GHashTable;

namespace loopback_site {

// What a request asked for, beyond the message itself.
struct Query {
    std::string path;                              // decoded, begins with "/"
    std::map<std::string, std::string> parameters; // of the part behind "?", decoded

    [[nodiscard]] std::string parameter(const std::string& name, const std::string& otherwise = "") const;
    [[nodiscard]] unsigned number(const std::string& name, unsigned otherwise) const;
};

class LoopbackSite {
public:
    // Answers the request or returns false, and then the folder's files come next.
    using Handler = std::function<bool(SoupServerMessage*, const Query&)>;

    // `requestLog` may be null; it gets one line a request: "METHOD target" and each header as "\tName: value".
    LoopbackSite(std::filesystem::path folder, Handler handler, std::FILE* requestLog);
    ~LoopbackSite();
    LoopbackSite(const LoopbackSite&) = delete;
    LoopbackSite& operator=(const LoopbackSite&) = delete;

    // For an hour. Without it no answer may be stored: every run of the helper begins without a cache.
    void letFilesBeStored() { fileStoring_ = "max-age=3600"; }

    // Listens on 127.0.0.1 and returns the port: the preferred one when it is free and permitted, else a free one.
    // With a certificate it speaks HTTPS. Throws std::runtime_error when it cannot listen at all.
    std::uint16_t listen(std::uint16_t preferredPort, const CertificateFiles* certificate);

private:
    static void onRequest(SoupServer* server, SoupServerMessage* message, const char* path, GHashTable* query,
                          void* self);
    void log(SoupServerMessage* message) const;
    void answerWithFile(SoupServerMessage* message, const std::string& path) const;

    struct StopServer {
        void operator()(SoupServer* server) const;
    };

    std::filesystem::path folder_;
    Handler handler_;
    std::FILE* requestLog_;
    const char* fileStoring_ = nullptr; // the Cache-Control of files
    std::vector<std::unique_ptr<SoupServer, StopServer>> servers_;
};

// A whole answer at once.
void answer(SoupServerMessage* message, unsigned status, const char* contentType, std::string_view body);

} // namespace loopback_site
