// Encodings, digests, ciphers and password-based encryption of byte buffers and strings.
//
// Strings are taken as UTF-8 (a lone surrogate, which has no UTF-8 form, as U+FFFD). Sizes are bytes. Every operation
// is a single call over input held in memory, keeps no state and may run on any thread at once, except that a failure
// is written through DRLogger::log2, which is for one thread at a time.
#pragma once

#include "brimle/BRRandomDevice.h"

namespace brimle {

using platform::Data;
using platform::DataView;
using platform::String;
using platform::StringView;

// --- Encodings: nothing here fails ---

// Random bytes of the system. When its random device cannot be opened or delivers less, the rest is zero and nothing
// tells the caller. A negative length counts as 0.
[[nodiscard]] Data br_randomData(std::int32_t length, const RandomDevice& device = systemRandomDevice());

// Base64 of RFC 4648 with padding, never with line breaks.
[[nodiscard]] String br_base64encode(DataView data);
// Skips line feeds and carriage returns; the first other character outside the alphabet, "=" included, ends the input
// silently. Padding may be missing, and one last character alone stands for nothing.
[[nodiscard]] Data br_base64decode(StringView text);

// A printf-style format ("%02x") applied to each byte's value in turn. The length counts as a signed 32-bit number:
// below 1 gives the empty string.
[[nodiscard]] String _br_stringWithFormat(DataView data, StringView format);
// Two hexadecimal digits a byte: lower case, upper case, and with letters (not digits) upper and lower in turn.
[[nodiscard]] String br_hex(DataView data);
[[nodiscard]] String br_HEX(DataView data);
[[nodiscard]] String br_HeX(DataView data);

// --- Digests: 16, 20, 32 and 64 bytes; hexadecimal in lower case. Inputs of 4 GiB and more are not supported ---

// A string counts up to its first U+0000, except for SHA-512, which takes all of it.
[[nodiscard]] Data br_MD5(DataView data);
[[nodiscard]] Data br_MD5(StringView text);
[[nodiscard]] String br_MD5hex(DataView data);
[[nodiscard]] String br_MD5hex(StringView text);
[[nodiscard]] Data br_SHA1(DataView data);
[[nodiscard]] Data br_SHA1(StringView text);
[[nodiscard]] Data br_SHA256(DataView data);
[[nodiscard]] Data br_SHA256(StringView text);
[[nodiscard]] String br_SHA256hex(DataView data);
[[nodiscard]] String br_SHA256hex(StringView text);
[[nodiscard]] Data br_SHA512(DataView data);
[[nodiscard]] Data br_SHA512(StringView text);
[[nodiscard]] String br_SHA512hex(DataView data);
[[nodiscard]] String br_SHA512hex(StringView text);

// --- Ciphers ---
//
// One pass over the whole buffer, nothing authenticates it. The result is absent when the cipher refuses (bad key
// length, wrong key, damaged ciphertext); then log2 tells "Crypto operation failed: %d" ("RC4 Crypto ..." for RC4) with
// one of the status numbers of CommonCrypto/CommonCryptor.h. `operation` is 0 to encrypt, 1 to decrypt.

// RC4 under the key as given, of 1 to 512 bytes.
[[nodiscard]] std::optional<Data> br_RC4Operation_withKey(DataView data, std::uint32_t operation, DataView key);
// RC4 under the SHA-256 of the key (a string's up to its first U+0000).
[[nodiscard]] std::optional<Data> br_RC4Encrypt(DataView data, DataView key);
[[nodiscard]] std::optional<Data> br_RC4Encrypt(DataView data, StringView key);
[[nodiscard]] std::optional<Data> br_RC4Decrypt(DataView data, DataView key);
[[nodiscard]] std::optional<Data> br_RC4Decrypt(DataView data, StringView key);

// A block cipher in CBC mode with PKCS#7 padding; algorithm 0 is AES-128, 192 or 256 by the key's length. An absent IV
// is sixteen zero bytes. Empty data gives empty data, whatever the other arguments.
[[nodiscard]] std::optional<Data> br_commonCryptoOperation_algorithm_key_ivec(DataView data, std::uint32_t operation,
                                                                              std::uint32_t algorithm, DataView key,
                                                                              std::optional<DataView> ivec);

// AES. With a salt the result is the container "Salted__", salt, ciphertext, and a failure leaves the first two alone.
[[nodiscard]] std::optional<Data>
br_AESEncryptWithKey_ivec_salt(DataView data, DataView key, std::optional<DataView> ivec, std::optional<DataView> salt);
// Bare ciphertext only.
[[nodiscard]] std::optional<Data> br_AESDecryptWithKey_ivec(DataView data, DataView key, std::optional<DataView> ivec);

// --- AES under a password ---
//
// Decryption takes 17 bytes or more that begin with "Salted__" as a container with an 8-byte salt, anything else as
// bare ciphertext without one.

// Key and IV by the MD5 rule (see computeKeyAndIvec): the format of "openssl enc -md md5". Key size 16, else 32.
[[nodiscard]] std::optional<Data>
br_AESEncryptWithBinaryPassword_keySize_useSalt(DataView data, std::optional<DataView> password, std::int32_t keySize,
                                                bool useSalt, const RandomDevice& device = systemRandomDevice());
[[nodiscard]] std::optional<Data>
br_AESDecryptWithBinaryPassword_keySize(DataView data, std::optional<DataView> password, std::int32_t keySize);

// Key and IV by PBKDF2-HMAC-SHA1 from the password up to its first U+0000. A key size other than 16 or 32 is an
// assertion failure (NSException by default). Of the count of iterations the low 32 bits count, as a signed number.
[[nodiscard]] std::optional<Data>
br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(DataView data, StringView password, std::int32_t keySize,
                                                        std::int64_t iterations, std::optional<DataView> salt);
// The same with 8 random bytes of salt.
[[nodiscard]] std::optional<Data>
br_AESEncryptWithPassword_keySize_PBKDF2Iterations(DataView data, StringView password, std::int32_t keySize,
                                                   std::int64_t iterations,
                                                   const RandomDevice& device = systemRandomDevice());
// An absent password gives an absent result.
[[nodiscard]] std::optional<Data> br_AESDecryptWithPassword_keySize_PBKDF2Iterations(DataView data,
                                                                                     std::optional<StringView> password,
                                                                                     std::int32_t keySize,
                                                                                     std::int64_t iterations);

// --- Key derivation ---

// OpenSSL's rule with MD5 and one round. Key size 16 gives a key of 16 bytes; every other one, 24 included, a key
// of 32. The IV has 16 bytes.
void computeKeyAndIvec(std::optional<DataView> password, std::optional<DataView> salt, std::int32_t keySize, Data& key,
                       Data& ivec);

// PBKDF2-HMAC-SHA1 (RFC 2898) into `keylen` bytes at `out`. A `passlen` of -1 means up to the zero byte; a null
// password is empty. Fewer than 1 iteration count as 1. Lives in this namespace: the OpenSSL library has another
// function of this name.
void PKCS5_PBKDF2_HMAC(const char* pass, std::int32_t passlen, const std::uint8_t* salt, std::int32_t saltlen,
                       std::int32_t iter, std::int32_t keylen, std::uint8_t* out);

} // namespace brimle
