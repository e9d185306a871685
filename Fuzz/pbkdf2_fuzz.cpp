// Our key derivation against the crypto library's own.
#include "brimle/BRCrypto.h"

#include <cstdlib>
#include <gcrypt.h>

using namespace brimle;

namespace {

[[maybe_unused]] const bool libraryIsReady = br_MD5(Data{}).size() == 16;

} // namespace

// Three bytes say how long password and output are and how many iterations there are; what follows is password and
// salt.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3)
        return 0;
    const DataView bytes = DataView(data, size).subspan(3);
    const DataView password = bytes.first(std::min<std::size_t>(data[0], bytes.size()));
    const DataView salt = bytes.subspan(password.size());
    const int iterations = 1 + data[1] % 32;
    Data ours(1 + data[2]);
    Data theirs(ours.size());
    PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(password.data()), static_cast<int>(password.size()), salt.data(),
                      static_cast<int>(salt.size()), iterations, static_cast<int>(ours.size()), ours.data());
    // The library takes no empty password or salt.
    if (password.empty() || salt.empty())
        return 0;
    const bool derived =
        gcry_kdf_derive(password.data(), password.size(), GCRY_KDF_PBKDF2, GCRY_MD_SHA1, salt.data(), salt.size(),
                        static_cast<unsigned long>(iterations), theirs.size(), theirs.data()) == 0;
    if (!derived || ours != theirs)
        std::abort();
    return 0;
}
