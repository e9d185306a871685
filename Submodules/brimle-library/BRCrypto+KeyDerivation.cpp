#include "brimle/BRCrypto.h"

#include "BRCryptoMemory.h"
#include "CommonCrypto/CommonHMAC.h"

#include <algorithm>
#include <array>

namespace brimle {
namespace {

constexpr std::size_t md5Size = 16;
constexpr std::size_t macSize = 20;
using Mac = std::array<std::uint8_t, macSize>;

DataView orEmpty(std::optional<DataView> bytes) {
    return bytes.value_or(DataView());
}

} // namespace

void computeKeyAndIvec(std::optional<DataView> password, std::optional<DataView> salt, std::int32_t keySize, Data& key,
                       Data& ivec) {
    // The last digest, then password and salt: the input of each digest but the first, which has nothing in front.
    Wiped<Data> chain;
    chain.bytes.reserve(md5Size + orEmpty(password).size() + orEmpty(salt).size());
    chain.bytes.resize(md5Size);
    for (const DataView part : {orEmpty(password), orEmpty(salt)})
        chain.bytes.insert(chain.bytes.end(), part.begin(), part.end());
    const Wiped<Data> d1{br_MD5(DataView(chain.bytes).subspan(md5Size))};
    std::copy(d1.bytes.begin(), d1.bytes.end(), chain.bytes.begin());
    const Wiped<Data> d2{br_MD5(DataView(chain.bytes))};
    std::copy(d2.bytes.begin(), d2.bytes.end(), chain.bytes.begin());
    const Wiped<Data> d3{br_MD5(DataView(chain.bytes))};

    key.reserve(2 * md5Size);
    key = d1.bytes;
    // Any size but 16 means AES-256, also 24: files written so far depend on it.
    if (keySize != static_cast<std::int32_t>(md5Size))
        key.insert(key.end(), d2.bytes.begin(), d2.bytes.end());
    ivec = keySize == static_cast<std::int32_t>(md5Size) ? d2.bytes : d3.bytes;
}

void PKCS5_PBKDF2_HMAC(const char* pass, std::int32_t passlen, const std::uint8_t* salt, std::int32_t saltlen,
                       std::int32_t iter, std::int32_t keylen, std::uint8_t* out) {
    std::string_view password;
    if (pass && passlen == -1)
        password = pass;
    else if (pass && passlen > 0)
        password = {pass, static_cast<std::size_t>(passlen)};
    platform::CCHmacContext hmac;
    platform::CCHmacInit(&hmac, platform::kCCHmacAlgSHA1, password.data(), password.size());
    Wiped<Mac> u;
    Wiped<Mac> sum;
    std::size_t remaining = keylen > 0 ? static_cast<std::size_t>(keylen) : 0;
    for (std::uint32_t index = 1; remaining > 0; ++index) {
        const std::array<std::uint8_t, 4> bigEndianIndex{
            static_cast<std::uint8_t>(index >> 24), static_cast<std::uint8_t>(index >> 16),
            static_cast<std::uint8_t>(index >> 8), static_cast<std::uint8_t>(index)};
        if (salt && saltlen > 0)
            platform::CCHmacUpdate(&hmac, salt, static_cast<std::size_t>(saltlen));
        platform::CCHmacUpdate(&hmac, bigEndianIndex.data(), bigEndianIndex.size());
        platform::CCHmacFinal(&hmac, u.bytes.data());
        sum.bytes = u.bytes;
        for (std::int32_t i = 1; i < iter; ++i) {
            platform::CCHmacWithContext(&hmac, u.bytes.data(), macSize, u.bytes.data());
            for (std::size_t k = 0; k < macSize; ++k)
                sum.bytes[k] ^= u.bytes[k];
        }
        const std::size_t count = std::min(remaining, macSize);
        out = std::copy_n(sum.bytes.begin(), count, out);
        remaining -= count;
    }
}

} // namespace brimle
