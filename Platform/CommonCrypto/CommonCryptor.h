// One-shot symmetric ciphers: AES in CBC mode with PKCS#7 padding, and RC4.
//
// Numbers are CommonCrypto's published ones. Lengths are bytes. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

using CCCryptorStatus = std::int32_t;
inline constexpr CCCryptorStatus kCCSuccess = 0;
inline constexpr CCCryptorStatus kCCParamError = -4300;     // an illegal value, a key length included
inline constexpr CCCryptorStatus kCCBufferTooSmall = -4301; // the length needed is handed out
inline constexpr CCCryptorStatus kCCMemoryFailure = -4302;
inline constexpr CCCryptorStatus kCCAlignmentError = -4303;   // a ciphertext that is not whole blocks
inline constexpr CCCryptorStatus kCCDecodeError = -4304;      // the padding does not check out
inline constexpr CCCryptorStatus kCCUnimplemented = -4305;    // an algorithm or mode that is not offered here
inline constexpr CCCryptorStatus kCCUnspecifiedError = -4308; // anything else that the crypto library reports

using CCOperation = std::uint32_t;
inline constexpr CCOperation kCCEncrypt = 0;
inline constexpr CCOperation kCCDecrypt = 1;

using CCAlgorithm = std::uint32_t;
inline constexpr CCAlgorithm kCCAlgorithmAES128 = 0; // the block size: keys of 16, 24 or 32 bytes choose the variant
inline constexpr CCAlgorithm kCCAlgorithmRC4 = 4;    // keys of 1 to 512 bytes

using CCOptions = std::uint32_t;
inline constexpr CCOptions kCCOptionPKCS7Padding = 1;

inline constexpr std::size_t kCCBlockSizeAES128 = 16;

// AES takes the padding option and a 16-byte `iv`, or null for sixteen zero bytes; RC4 has no use for either. On
// success `dataOutMoved` (may be null) is the count of bytes written. On failure nothing of the result is left in
// `dataOut`. Encrypting needs room for the padding, decrypting for as much as goes in. `dataOut` may be `dataIn`.
[[nodiscard]] CCCryptorStatus CCCrypt(CCOperation op, CCAlgorithm alg, CCOptions options, const void* key,
                                      std::size_t keyLength, const void* iv, const void* dataIn,
                                      std::size_t dataInLength, void* dataOut, std::size_t dataOutAvailable,
                                      std::size_t* dataOutMoved);

} // namespace platform
