#include "brimle/BRCrypto.h"

#include "BRCryptoMemory.h"
#include "CommonCrypto/CommonCryptor.h"
#include "Foundation/NSAssertionHandler.h"
#include "brimle/DRLogger.h"

#include <algorithm>

namespace brimle {
namespace {

using namespace platform;

constexpr std::uint8_t magic_salted[] = {'S', 'a', 'l', 't', 'e', 'd', '_', '_'};
constexpr std::size_t magicSize = sizeof magic_salted;
constexpr std::int32_t saltSize = 8;
constexpr std::size_t headerSize = magicSize + saltSize;
constexpr std::size_t ivecSize = kCCBlockSizeAES128;

// The block cipher, behind `header` in the same buffer: absent when it fails, the header alone for empty data.
std::optional<Data> blockCipher(DataView header, DataView data, CCOperation operation, CCAlgorithm algorithm,
                                DataView key, std::optional<DataView> ivec) {
    constexpr std::size_t roomForPadding = 32;
    Data out(header.size() + data.size() + roomForPadding);
    std::copy(header.begin(), header.end(), out.begin());
    std::size_t moved = 0;
    // Nothing in, nothing out: no padding block, and key and IV are not looked at. Callers store empty values so.
    if (!data.empty()) {
        const bool ivecIsTooShort = ivec && ivec->size() < ivecSize; // the cipher would read beyond its end
        const CCCryptorStatus status =
            ivecIsTooShort ? kCCParamError
                           : CCCrypt(operation, algorithm, kCCOptionPKCS7Padding, key.data(), key.size(),
                                     ivec ? ivec->data() : nullptr, data.data(), data.size(),
                                     out.data() + header.size(), out.size() - header.size(), &moved);
        if (status != kCCSuccess) {
            DRLogger::logger()->log2("Crypto operation failed: %d", status);
            return std::nullopt;
        }
    }
    out.resize(header.size() + moved);
    return out;
}

// A salted container taken apart, or bare ciphertext as body.
struct Container {
    std::optional<DataView> salt;
    DataView body;

    explicit Container(DataView data) : body(data) {
        // Longer than the header alone: a container of nothing reads as bare ciphertext, as it always has.
        if (data.size() <= headerSize || !std::equal(std::begin(magic_salted), std::end(magic_salted), data.begin()))
            return;
        salt = data.subspan(magicSize, saltSize);
        body = data.subspan(headerSize);
    }
};

struct KeyAndIvec {
    Wiped<Data> key;
    Wiped<Data> ivec;
};

KeyAndIvec keyOfBinaryPassword(std::optional<DataView> password, std::optional<DataView> salt, std::int32_t keySize) {
    KeyAndIvec derived;
    computeKeyAndIvec(password, salt, keySize, derived.key.bytes, derived.ivec.bytes);
    return derived;
}

KeyAndIvec keyOfPassword(StringView password, std::optional<DataView> salt, std::int32_t keySize,
                         std::int64_t iterations) {
    // The cipher refuses a key of another size than its own, whatever the bytes, so there is no point in deriving the
    // megabytes of a size that only a forgiving assertion handler let through.
    constexpr std::int32_t longestUsefulKey = 33;
    const auto size = static_cast<std::size_t>(std::clamp(keySize, 0, longestUsefulKey));
    const Wiped<std::string> utf8{lossyUTF8String(password.substr(0, password.find(u'\0')))};
    const DataView saltBytes = salt.value_or(DataView());
    Wiped<Data> material{Data(size + ivecSize)};
    // The count of iterations has always been handed on as a signed 32-bit number.
    PKCS5_PBKDF2_HMAC(utf8.bytes.data(), static_cast<std::int32_t>(utf8.bytes.size()), saltBytes.data(),
                      static_cast<std::int32_t>(saltBytes.size()), static_cast<std::int32_t>(iterations),
                      static_cast<std::int32_t>(material.bytes.size()), material.bytes.data());
    const auto end = material.bytes.begin() + static_cast<std::ptrdiff_t>(size);
    return {{Data(material.bytes.begin(), end)}, {Data(end, material.bytes.end())}};
}

bool isAESKeySize(std::int32_t keySize) {
    return keySize == 16 || keySize == 32;
}

void reportInvalidKeySize(StringView operation, DataView data, int line, StringView description) {
    NSAssertionHandler::currentHandler()->handleFailureInMethod_object_file_lineNumber_description(
        operation, data, u"Submodules/brimle-library/BRCrypto", line, description);
}

} // namespace

std::optional<Data> br_RC4Operation_withKey(DataView data, std::uint32_t operation, DataView key) {
    Data out(data.size());
    std::size_t moved = 0;
    const CCCryptorStatus status = CCCrypt(operation, kCCAlgorithmRC4, 0, key.data(), key.size(), nullptr, data.data(),
                                           data.size(), out.data(), out.size(), &moved);
    if (status != kCCSuccess) {
        DRLogger::logger()->log2("RC4 Crypto operation failed: %d", status);
        return std::nullopt;
    }
    out.resize(moved);
    return out;
}

std::optional<Data> br_RC4Encrypt(DataView data, DataView key) {
    return br_RC4Operation_withKey(data, kCCEncrypt, Wiped<Data>{br_SHA256(key)}.bytes);
}

std::optional<Data> br_RC4Encrypt(DataView data, StringView key) {
    return br_RC4Operation_withKey(data, kCCEncrypt, Wiped<Data>{br_SHA256(key)}.bytes);
}

std::optional<Data> br_RC4Decrypt(DataView data, DataView key) {
    return br_RC4Operation_withKey(data, kCCDecrypt, Wiped<Data>{br_SHA256(key)}.bytes);
}

std::optional<Data> br_RC4Decrypt(DataView data, StringView key) {
    return br_RC4Operation_withKey(data, kCCDecrypt, Wiped<Data>{br_SHA256(key)}.bytes);
}

std::optional<Data> br_commonCryptoOperation_algorithm_key_ivec(DataView data, std::uint32_t operation,
                                                                std::uint32_t algorithm, DataView key,
                                                                std::optional<DataView> ivec) {
    return blockCipher({}, data, operation, algorithm, key, ivec);
}

std::optional<Data> br_AESEncryptWithKey_ivec_salt(DataView data, DataView key, std::optional<DataView> ivec,
                                                   std::optional<DataView> salt) {
    if (!salt)
        return blockCipher({}, data, kCCEncrypt, kCCAlgorithmAES128, key, ivec);
    // An empty salt makes a container too: only an absent one means bare ciphertext.
    Data header(std::begin(magic_salted), std::end(magic_salted));
    header.insert(header.end(), salt->begin(), salt->end());
    auto container = blockCipher(header, data, kCCEncrypt, kCCAlgorithmAES128, key, ivec);
    // A failure leaves the header, not nothing: callers tell it by the length, and by the log.
    return container ? std::move(container) : std::move(header);
}

std::optional<Data> br_AESDecryptWithKey_ivec(DataView data, DataView key, std::optional<DataView> ivec) {
    return blockCipher({}, data, kCCDecrypt, kCCAlgorithmAES128, key, ivec);
}

std::optional<Data> br_AESEncryptWithBinaryPassword_keySize_useSalt(DataView data, std::optional<DataView> password,
                                                                    std::int32_t keySize, bool useSalt,
                                                                    const RandomDevice& device) {
    std::optional<Data> salt;
    if (useSalt)
        salt = br_randomData(saltSize, device);
    const KeyAndIvec derived = keyOfBinaryPassword(password, salt, keySize);
    return br_AESEncryptWithKey_ivec_salt(data, derived.key.bytes, derived.ivec.bytes, salt);
}

std::optional<Data> br_AESDecryptWithBinaryPassword_keySize(DataView data, std::optional<DataView> password,
                                                            std::int32_t keySize) {
    const Container container(data);
    const KeyAndIvec derived = keyOfBinaryPassword(password, container.salt, keySize);
    return br_AESDecryptWithKey_ivec(container.body, derived.key.bytes, derived.ivec.bytes);
}

std::optional<Data> br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(DataView data, StringView password,
                                                                            std::int32_t keySize,
                                                                            std::int64_t iterations,
                                                                            std::optional<DataView> salt) {
    if (!isAESKeySize(keySize))
        reportInvalidKeySize(u"br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt", data, __LINE__,
                             u"Invalid key size for br_AESEncryptWithPassword");
    const KeyAndIvec derived = keyOfPassword(password, salt, keySize, iterations);
    return br_AESEncryptWithKey_ivec_salt(data, derived.key.bytes, derived.ivec.bytes, salt);
}

std::optional<Data> br_AESEncryptWithPassword_keySize_PBKDF2Iterations(DataView data, StringView password,
                                                                       std::int32_t keySize, std::int64_t iterations,
                                                                       const RandomDevice& device) {
    // Drawn before the key size is looked at, as ever: a refused call uses up random bytes too.
    const Data salt = br_randomData(saltSize, device);
    return br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(data, password, keySize, iterations, salt);
}

std::optional<Data> br_AESDecryptWithPassword_keySize_PBKDF2Iterations(DataView data,
                                                                       std::optional<StringView> password,
                                                                       std::int32_t keySize, std::int64_t iterations) {
    if (!isAESKeySize(keySize))
        reportInvalidKeySize(u"br_AESDecryptWithPassword_keySize_PBKDF2Iterations", data, __LINE__,
                             u"Invalid key size for br_AESDecryptWithPassword");
    if (!password)
        return std::nullopt;
    const Container container(data);
    const KeyAndIvec derived = keyOfPassword(*password, container.salt, keySize, iterations);
    return br_AESDecryptWithKey_ivec(container.body, derived.key.bytes, derived.ivec.bytes);
}

} // namespace brimle
