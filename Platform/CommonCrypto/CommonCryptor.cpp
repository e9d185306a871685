#include "CommonCryptor.h"

#include "Libgcrypt.h"

#include <array>
#include <cstring>
#include <gcrypt.h>
#include <memory>
#include <type_traits>

namespace platform {
namespace {

constexpr std::size_t blockSize = kCCBlockSizeAES128;
using Block = std::array<std::uint8_t, blockSize>;

struct CipherCloser {
    void operator()(gcry_cipher_hd_t cipher) const { gcry_cipher_close(cipher); } // wipes the key schedule
};
using Cipher = std::unique_ptr<std::remove_pointer_t<gcry_cipher_hd_t>, CipherCloser>;

struct Input {
    const std::uint8_t* bytes;
    std::size_t length;
};

// Room for the result, and how much of it was filled.
struct Output {
    std::uint8_t* bytes;
    std::size_t available;
    std::size_t moved = 0;
};

CCCryptorStatus statusOf(gcry_error_t error) {
    switch (gcry_err_code(error)) {
    case GPG_ERR_NO_ERROR:
        return kCCSuccess;
    case GPG_ERR_INV_KEYLEN:
    case GPG_ERR_INV_ARG:
        return kCCParamError;
    case GPG_ERR_BUFFER_TOO_SHORT:
        return kCCBufferTooSmall;
    case GPG_ERR_ENOMEM:
        return kCCMemoryFailure;
    default:
        return kCCUnspecifiedError;
    }
}

CCCryptorStatus openCipher(int algorithm, int mode, Input key, Cipher& cipher) {
    prepareLibgcrypt();
    gcry_cipher_hd_t handle = nullptr;
    if (const gcry_error_t error = gcry_cipher_open(&handle, algorithm, mode, 0))
        return statusOf(error);
    cipher.reset(handle);
    return statusOf(gcry_cipher_setkey(handle, key.bytes, key.length));
}

// Reports how much room a result needs when there is less.
CCCryptorStatus requireRoom(std::size_t needed, Output& out) {
    if (out.available >= needed)
        return kCCSuccess;
    out.moved = needed;
    return kCCBufferTooSmall;
}

gcry_error_t transform(const Cipher& cipher, CCOperation op, std::uint8_t* to, Input in) {
    if (in.length == 0)
        return 0;
    return op == kCCEncrypt ? gcry_cipher_encrypt(cipher.get(), to, in.length, in.bytes, in.length)
                            : gcry_cipher_decrypt(cipher.get(), to, in.length, in.bytes, in.length);
}

CCCryptorStatus rc4(CCOperation op, Input key, Input in, Output& out) {
    constexpr std::size_t longestKey = 512;
    if (key.length < 1 || key.length > longestKey)
        return kCCParamError;
    if (const CCCryptorStatus status = requireRoom(in.length, out))
        return status;
    // The key schedule goes round and round the key for 256 bytes. Written out like that it is the same key, and keys
    // of 1 to 4 bytes, which the crypto library refuses, need no case of their own.
    std::array<std::uint8_t, 256> schedule{};
    for (std::size_t i = 0; i < schedule.size(); ++i)
        schedule[i] = key.bytes[i % key.length];
    Cipher cipher;
    const CCCryptorStatus status =
        openCipher(GCRY_CIPHER_ARCFOUR, GCRY_CIPHER_MODE_STREAM, {schedule.data(), schedule.size()}, cipher);
    explicit_bzero(schedule.data(), schedule.size());
    if (status != kCCSuccess)
        return status;
    out.moved = in.length;
    return statusOf(transform(cipher, op, out.bytes, in));
}

CCCryptorStatus openAES(Input key, const void* iv, Cipher& cipher) {
    const int algorithm = key.length == 16   ? GCRY_CIPHER_AES128
                          : key.length == 24 ? GCRY_CIPHER_AES192
                          : key.length == 32 ? GCRY_CIPHER_AES256
                                             : GCRY_CIPHER_NONE;
    if (algorithm == GCRY_CIPHER_NONE)
        return kCCParamError;
    if (const CCCryptorStatus status = openCipher(algorithm, GCRY_CIPHER_MODE_CBC, key, cipher))
        return status;
    constexpr Block zeros{};
    return statusOf(gcry_cipher_setiv(cipher.get(), iv ? iv : zeros.data(), blockSize));
}

CCCryptorStatus encryptPadded(const Cipher& cipher, Input in, Output& out) {
    const std::size_t whole = in.length / blockSize * blockSize;
    if (const CCCryptorStatus status = requireRoom(whole + blockSize, out))
        return status;
    Block last;
    last.fill(static_cast<std::uint8_t>(blockSize - (in.length - whole)));
    if (in.length > whole)
        std::memcpy(last.data(), in.bytes + whole, in.length - whole);
    gcry_error_t error = transform(cipher, kCCEncrypt, out.bytes, {in.bytes, whole});
    if (!error)
        error = transform(cipher, kCCEncrypt, out.bytes + whole, {last.data(), last.size()});
    explicit_bzero(last.data(), last.size());
    out.moved = whole + blockSize;
    return statusOf(error);
}

// The count of padding bytes, 0 when they do not check out. Takes the same time for every content.
std::size_t paddingOf(const std::uint8_t* lastBlock) {
    const std::size_t count = lastBlock[blockSize - 1];
    std::size_t wrong = static_cast<std::size_t>(count < 1) | static_cast<std::size_t>(count > blockSize);
    for (std::size_t i = 0; i < blockSize; ++i) {
        const auto isPadding = static_cast<std::size_t>(i + count >= blockSize);
        wrong |= isPadding * (lastBlock[i] ^ count);
    }
    return wrong == 0 ? count : 0;
}

CCCryptorStatus decryptPadded(const Cipher& cipher, Input in, Output& out) {
    if (in.length % blockSize != 0)
        return kCCAlignmentError;
    if (in.length == 0)
        return kCCDecodeError; // not even a block of padding
    if (const CCCryptorStatus status = requireRoom(in.length, out))
        return status;
    if (const gcry_error_t error = transform(cipher, kCCDecrypt, out.bytes, in))
        return statusOf(error);
    const std::size_t padding = paddingOf(out.bytes + in.length - blockSize);
    if (padding == 0) {
        explicit_bzero(out.bytes, in.length);
        return kCCDecodeError;
    }
    out.moved = in.length - padding;
    return kCCSuccess;
}

CCCryptorStatus aes(CCOperation op, CCOptions options, Input key, const void* iv, Input in, Output& out) {
    if (options != kCCOptionPKCS7Padding)
        return kCCUnimplemented;
    Cipher cipher;
    if (const CCCryptorStatus status = openAES(key, iv, cipher))
        return status;
    return op == kCCEncrypt ? encryptPadded(cipher, in, out) : decryptPadded(cipher, in, out);
}

} // namespace

CCCryptorStatus CCCrypt(CCOperation op, CCAlgorithm alg, CCOptions options, const void* key, std::size_t keyLength,
                        const void* iv, const void* dataIn, std::size_t dataInLength, void* dataOut,
                        std::size_t dataOutAvailable, std::size_t* dataOutMoved) {
    const Input keyBytes{static_cast<const std::uint8_t*>(key), keyLength};
    const Input in{static_cast<const std::uint8_t*>(dataIn), dataInLength};
    Output out{static_cast<std::uint8_t*>(dataOut), dataOutAvailable};
    CCCryptorStatus status = kCCUnimplemented;
    if (op != kCCEncrypt && op != kCCDecrypt)
        status = kCCParamError;
    else if (alg == kCCAlgorithmAES128)
        status = aes(op, options, keyBytes, iv, in, out);
    else if (alg == kCCAlgorithmRC4)
        status = rc4(op, keyBytes, in, out);
    if (dataOutMoved)
        *dataOutMoved = status == kCCSuccess || status == kCCBufferTooSmall ? out.moved : 0;
    return status;
}

} // namespace platform
