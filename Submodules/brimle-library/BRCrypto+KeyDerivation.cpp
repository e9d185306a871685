#include "brimle/BRCrypto.h"

#include "BRCryptoMemory.h"
#include "CommonCrypto/CommonHMAC.h"

#include <algorithm>
#include <array>

namespace brimle {
namespace {

constexpr std::size_t md5Size = 16;
constexpr std::size_t macSize = platform::sha1DigestSize;

// One MAC, as words, for each of the blocks of output that are worked on side by side.
using Macs = std::array<platform::Sha1Words, platform::sha1Lanes>;

DataView orEmpty(std::optional<DataView> bytes) {
    return bytes.value_or(DataView());
}

// The MAC of the salt followed by the block's number, most significant byte first.
platform::Sha1Words firstOfChain(platform::CCHmacContext& hmac, DataView salt, std::uint32_t index) {
    const std::array<std::uint8_t, 4> number{static_cast<std::uint8_t>(index >> 24),
                                             static_cast<std::uint8_t>(index >> 16),
                                             static_cast<std::uint8_t>(index >> 8), static_cast<std::uint8_t>(index)};
    Wiped<std::array<std::uint8_t, macSize>> mac;
    platform::CCHmacUpdate(&hmac, salt.data(), salt.size());
    platform::CCHmacUpdate(&hmac, number.data(), number.size());
    platform::CCHmacFinal(&hmac, mac.bytes.data());
    return platform::readSha1Digest(mac.bytes.data());
}

// The blocks of output numbered from `index`. A count of iterations below 1 still makes the first MAC.
Macs sumsOfChains(platform::CCHmacContext& hmac, DataView salt, std::uint32_t index, std::size_t blocks,
                  std::int32_t iterations) {
    Wiped<Macs> u;
    for (std::size_t i = 0; i < blocks; ++i)
        u.bytes[i] = firstOfChain(hmac, salt, index + static_cast<std::uint32_t>(i));
    Macs sums = u.bytes;
    for (std::int32_t i = 1; i < iterations; ++i) {
        platform::CCHmacOfMacs(&hmac, u.bytes.data(), blocks);
        for (std::size_t block = 0; block < sums.size(); ++block)
            for (std::size_t word = 0; word < sums[block].size(); ++word)
                sums[block][word] ^= u.bytes[block][word];
    }
    return sums;
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
    const DataView saltBytes(salt, salt && saltlen > 0 ? static_cast<std::size_t>(saltlen) : 0);
    platform::CCHmacContext hmac;
    platform::CCHmacInit(&hmac, platform::kCCHmacAlgSHA1, password.data(), password.size());
    std::size_t remaining = keylen > 0 ? static_cast<std::size_t>(keylen) : 0;
    for (std::uint32_t index = 1; remaining > 0; index += platform::sha1Lanes) {
        const std::size_t blocks = std::min((remaining + macSize - 1) / macSize, platform::sha1Lanes);
        const Wiped<Macs> sums{sumsOfChains(hmac, saltBytes, index, blocks, iter)};
        for (std::size_t i = 0; i < blocks; ++i) {
            Wiped<std::array<std::uint8_t, macSize>> block;
            platform::writeSha1Digest(sums.bytes[i], block.bytes.data());
            const std::size_t count = std::min(remaining, macSize);
            out = std::copy_n(block.bytes.begin(), count, out);
            remaining -= count;
        }
    }
}

} // namespace brimle
