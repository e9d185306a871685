#include "Certificates.h"

#include <glib.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace loopback_site {

namespace {

constexpr const char* here = "subjectAltName=DNS:localhost,IP:127.0.0.1";
constexpr const char* elsewhere = "subjectAltName=DNS:elsewhere.test";

// A certificate with a key of its own. `signer` null: it signs itself.
CertificateFiles makeCertificate(const std::filesystem::path& folder, const std::string& name, const char* extension,
                                 const CertificateFiles* signer) {
    CertificateFiles files{folder / (name + ".pem"), folder / (name + ".key")};
    std::vector<std::string> words = {"openssl",
                                      "req",
                                      "-x509",
                                      "-newkey",
                                      "ec",
                                      "-pkeyopt",
                                      "ec_paramgen_curve:prime256v1",
                                      "-noenc",
                                      "-days",
                                      "30",
                                      "-subj",
                                      "/CN=" + name,
                                      "-addext",
                                      extension,
                                      "-out",
                                      files.certificate,
                                      "-keyout",
                                      files.key};
    if (signer != nullptr) {
        words.insert(words.end(), {"-CA", signer->certificate, "-CAkey", signer->key, "-addext",
                                   "basicConstraints=critical,CA:FALSE", "-addext", "extendedKeyUsage=serverAuth"});
    }
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    char* complaint = nullptr;
    int status = 0;
    const bool started = g_spawn_sync(nullptr, arguments.data(), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr,
                                      nullptr, &complaint, &status, nullptr) != 0;
    const std::string text = complaint != nullptr ? complaint : "";
    g_free(complaint);
    if (!started || status != 0)
        throw std::runtime_error("openssl made no certificate: " + text);
    return files;
}

} // namespace

Certificates makeCertificates(const std::filesystem::path& folder) {
    const CertificateFiles authority =
        makeCertificate(folder, "authority", "basicConstraints=critical,CA:TRUE", nullptr);
    return {authority.certificate, makeCertificate(folder, "good", here, &authority),
            makeCertificate(folder, "self-signed", here, nullptr),
            makeCertificate(folder, "wrong-host", elsewhere, &authority)};
}

} // namespace loopback_site
