// Certificates made afresh for one run: an authority, a certificate that it signed for this machine, and two that a
// careful client must refuse.
#pragma once

#include <filesystem>

namespace loopback_site {

// A certificate and its private key, each a PEM file.
struct CertificateFiles {
    std::filesystem::path certificate;
    std::filesystem::path key;
};

struct Certificates {
    std::filesystem::path authority; // PEM file of the authority that signed `good` and `wrongHost`
    CertificateFiles good;           // for localhost and 127.0.0.1
    CertificateFiles selfSigned;     // for localhost and 127.0.0.1, signed by itself
    CertificateFiles wrongHost;      // for elsewhere.test
};

// Calls the openssl command. Throws std::runtime_error when it fails.
[[nodiscard]] Certificates makeCertificates(const std::filesystem::path& folder);

} // namespace loopback_site
