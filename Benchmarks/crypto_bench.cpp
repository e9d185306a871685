// Encodings, digests, ciphers and key derivation beside the packaged libraries that offer the same. The last table
// shows the time of twice the input over the time of the input.
#include "Ratios.h"

#include "brimle/BRCrypto.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <gcrypt.h>
#include <glib.h>
#include <memory>
#include <openssl/crypto.h>
#include <openssl/evp.h>

using namespace brimle;

namespace {

constexpr std::size_t kibi = 1024;
constexpr std::size_t mebi = kibi * kibi;
constexpr std::size_t halfOfTheLargest = 32 * mebi;

const Data& bytes(std::size_t length) {
    static std::map<std::size_t, Data> made;
    Data& data = made[length];
    for (std::size_t i = data.size(); i < length; ++i)
        data.push_back(static_cast<std::uint8_t>(i * 2654435761u >> 13));
    return data;
}

int asInt(std::size_t length) {
    return static_cast<int>(length);
}

void add(const std::string& name, const std::function<void()>& operation) {
    benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
        for (auto _ : state)
            operation();
    })->Unit(benchmark::kMillisecond);
}

void require(bool condition) {
    if (!condition)
        std::abort();
}

// --- Peers: whatever can be prepared outside the loop is ---

struct EVPDigest {
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    EVP_MD* digest;
    explicit EVPDigest(const char* name) : digest(EVP_MD_fetch(nullptr, name, nullptr)) {}
    void operator()(const Data& data) const {
        unsigned char out[EVP_MAX_MD_SIZE];
        EVP_DigestInit_ex2(context, digest, nullptr);
        EVP_DigestUpdate(context, data.data(), data.size());
        EVP_DigestFinal_ex(context, out, nullptr);
        benchmark::DoNotOptimize(out);
    }
};

struct GcryptDigest {
    gcry_md_hd_t handle = nullptr;
    int algorithm;
    explicit GcryptDigest(int number) : algorithm(number) { require(gcry_md_open(&handle, number, 0) == 0); }
    void operator()(const Data& data) const {
        unsigned char out[64];
        gcry_md_write(handle, data.data(), data.size());
        std::memcpy(out, gcry_md_read(handle, 0), gcry_md_get_algo_dlen(algorithm));
        gcry_md_reset(handle);
        benchmark::DoNotOptimize(out);
    }
};

struct EVPCipher {
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_CIPHER* cipher;
    bool encrypts;
    Data* out = new Data;
    EVPCipher(const char* name, bool encrypting)
        : cipher(EVP_CIPHER_fetch(nullptr, name, nullptr)), encrypts(encrypting) {}
    void operator()(const Data& key, const Data& ivec, const Data& in) const {
        out->resize(in.size() + 32);
        int length = 0;
        int last = 0;
        EVP_CipherInit_ex2(context, cipher, key.data(), ivec.data(), encrypts ? 1 : 0, nullptr);
        EVP_CipherUpdate(context, out->data(), &length, in.data(), asInt(in.size()));
        require(EVP_CipherFinal_ex(context, out->data() + length, &last) == 1);
        benchmark::DoNotOptimize(out->data());
    }
};

struct GcryptCipher {
    gcry_cipher_hd_t handle = nullptr;
    bool encrypts;
    Data* out = new Data;
    GcryptCipher(int algorithm, bool encrypting) : encrypts(encrypting) {
        require(gcry_cipher_open(&handle, algorithm, GCRY_CIPHER_MODE_CBC, 0) == 0);
    }
    void operator()(const Data& key, const Data& ivec, const Data& in) const {
        out->resize(in.size());
        gcry_cipher_setkey(handle, key.data(), key.size());
        gcry_cipher_setiv(handle, ivec.data(), ivec.size());
        require((encrypts ? gcry_cipher_encrypt(handle, out->data(), out->size(), in.data(), in.size())
                          : gcry_cipher_decrypt(handle, out->data(), out->size(), in.data(), in.size())) == 0);
        benchmark::DoNotOptimize(out->data());
    }
};

// --- Groups ---

void addKeyDerivation(std::vector<Ratio>& ratios) {
    static const Data salt = bytes(8);
    static Data out(48);
    constexpr int iterations = 200000;
    add("pbkdf2_ours", [] {
        brimle::PKCS5_PBKDF2_HMAC("password", 8, salt.data(), 8, iterations, 48, out.data());
        benchmark::DoNotOptimize(out.data());
    });
    add("pbkdf2_openssl", [] {
        ::PKCS5_PBKDF2_HMAC("password", 8, salt.data(), 8, iterations, EVP_sha1(), 48, out.data());
        benchmark::DoNotOptimize(out.data());
    });
    add("pbkdf2_gcrypt", [] {
        gcry_kdf_derive("password", 8, GCRY_KDF_PBKDF2, GCRY_MD_SHA1, salt.data(), 8, iterations, 48, out.data());
        benchmark::DoNotOptimize(out.data());
    });
    ratios.push_back({"pbkdf2_ours", "pbkdf2_openssl"});
    ratios.push_back({"pbkdf2_ours", "pbkdf2_gcrypt"});
}

struct CipherRow {
    std::size_t keySize;
    const char* opensslName;
    int gcryptNumber;
    const char* names[6]; // ours, OpenSSL's, libgcrypt's: encrypting, then decrypting
};

void addCiphers(std::vector<Ratio>& ratios) {
    static const CipherRow rows[] = {
        {16,
         "AES-128-CBC",
         GCRY_CIPHER_AES128,
         {"aes128_encrypt_ours", "aes128_encrypt_openssl", "aes128_encrypt_gcrypt", "aes128_decrypt_ours",
          "aes128_decrypt_openssl", "aes128_decrypt_gcrypt"}},
        {32,
         "AES-256-CBC",
         GCRY_CIPHER_AES256,
         {"aes256_encrypt_ours", "aes256_encrypt_openssl", "aes256_encrypt_gcrypt", "aes256_decrypt_ours",
          "aes256_decrypt_openssl", "aes256_decrypt_gcrypt"}},
    };
    for (const CipherRow& row : rows) {
        for (const bool encrypts : {true, false}) {
            const Data& key = bytes(row.keySize);
            const Data& ivec = bytes(16);
            const Data in = encrypts ? bytes(mebi) : *br_AESEncryptWithKey_ivec_salt(bytes(mebi), key, ivec, {});
            const char* const* names = row.names + (encrypts ? 0 : 3);
            add(names[0], [=] {
                const auto out = br_commonCryptoOperation_algorithm_key_ivec(in, encrypts ? 0 : 1, 0, key, ivec);
                benchmark::DoNotOptimize(out->data());
            });
            add(names[1], [=, peer = EVPCipher(row.opensslName, encrypts)] { peer(key, ivec, in); });
            add(names[2], [=, peer = GcryptCipher(row.gcryptNumber, encrypts)] { peer(key, ivec, in); });
            ratios.push_back({names[0], names[1]});
            ratios.push_back({names[0], names[2]});
        }
    }
}

struct DigestRow {
    Data (*ours)(DataView);
    const char* opensslName;
    int gcryptNumber;
    std::size_t length;
    const char* names[4]; // ours, OpenSSL's, libgcrypt's with a context, libgcrypt's in one call
};

void addDigests(std::vector<Ratio>& ratios) {
    static const DigestRow rows[] = {
        {br_MD5, "MD5", GCRY_MD_MD5, mebi, {"md5_ours", "md5_openssl", "md5_gcrypt", "md5_gcrypt_buffer"}},
        {br_SHA1, "SHA1", GCRY_MD_SHA1, mebi, {"sha1_ours", "sha1_openssl", "sha1_gcrypt", "sha1_gcrypt_buffer"}},
        {br_SHA256,
         "SHA256",
         GCRY_MD_SHA256,
         mebi,
         {"sha256_ours", "sha256_openssl", "sha256_gcrypt", "sha256_gcrypt_buffer"}},
        {br_SHA512,
         "SHA512",
         GCRY_MD_SHA512,
         mebi,
         {"sha512_ours", "sha512_openssl", "sha512_gcrypt", "sha512_gcrypt_buffer"}},
        {br_MD5, "MD5", GCRY_MD_MD5, 16, {"md5_16_ours", "md5_16_openssl", "md5_16_gcrypt", "md5_16_gcrypt_buffer"}},
        {br_SHA1,
         "SHA1",
         GCRY_MD_SHA1,
         16,
         {"sha1_16_ours", "sha1_16_openssl", "sha1_16_gcrypt", "sha1_16_gcrypt_buffer"}},
        {br_SHA256,
         "SHA256",
         GCRY_MD_SHA256,
         16,
         {"sha256_16_ours", "sha256_16_openssl", "sha256_16_gcrypt", "sha256_16_gcrypt_buffer"}},
        {br_SHA512,
         "SHA512",
         GCRY_MD_SHA512,
         16,
         {"sha512_16_ours", "sha512_16_openssl", "sha512_16_gcrypt", "sha512_16_gcrypt_buffer"}},
    };
    for (const DigestRow& row : rows) {
        const Data& in = bytes(row.length);
        add(row.names[0], [&row, &in] { benchmark::DoNotOptimize(row.ours(in).data()); });
        add(row.names[1], [&in, peer = EVPDigest(row.opensslName)] { peer(in); });
        add(row.names[2], [&in, peer = GcryptDigest(row.gcryptNumber)] { peer(in); });
        add(row.names[3], [&row, &in] {
            unsigned char out[64];
            gcry_md_hash_buffer(row.gcryptNumber, out, in.data(), in.size());
            benchmark::DoNotOptimize(out);
        });
        for (const int peer : {1, 2, 3})
            ratios.push_back({row.names[0], row.names[peer]});
    }
}

void addEncodings(std::vector<Ratio>& ratios) {
    static const Data& in = bytes(mebi);
    static const String text = br_base64encode(in);
    static const std::string ascii(text.begin(), text.end());
    static Data out(4 * mebi);
    add("base64_encode_ours", [] { benchmark::DoNotOptimize(br_base64encode(in).data()); });
    add("base64_encode_openssl", [] { benchmark::DoNotOptimize(EVP_EncodeBlock(out.data(), in.data(), asInt(mebi))); });
    add("base64_encode_glib", [] { g_free(g_base64_encode(in.data(), in.size())); });
    add("base64_decode_ours", [] { benchmark::DoNotOptimize(br_base64decode(text).data()); });
    add("base64_decode_openssl", [] {
        const auto* from = reinterpret_cast<const unsigned char*>(ascii.data());
        benchmark::DoNotOptimize(EVP_DecodeBlock(out.data(), from, asInt(ascii.size())));
    });
    add("base64_decode_glib", [] {
        gsize length = 0;
        g_free(g_base64_decode(ascii.c_str(), &length));
    });
    static const String lines = [] {
        String broken;
        for (std::size_t at = 0; at < text.size(); at += 76)
            broken += text.substr(at, 76) + u"\r\n";
        return broken;
    }();
    add("base64_decode_lines_ours", [] { benchmark::DoNotOptimize(br_base64decode(lines).data()); });
    add("hex_ours", [] { benchmark::DoNotOptimize(br_hex(in).data()); });
    add("hex_openssl", [] {
        std::size_t length = 0;
        OPENSSL_buf2hexstr_ex(reinterpret_cast<char*>(out.data()), out.size(), &length, in.data(), in.size(), '\0');
        benchmark::DoNotOptimize(length);
    });
    // The loop that GLib's checksums run for their texts.
    add("hex_table_loop", [] {
        static const char digits[] = "0123456789abcdef";
        const auto to = std::make_unique_for_overwrite<char[]>(2 * in.size() + 1);
        char* p = to.get();
        for (const std::uint8_t byte : in) {
            *p++ = digits[byte >> 4];
            *p++ = digits[byte & 15];
        }
        *p = '\0';
        benchmark::DoNotOptimize(to.get());
    });
    for (const char* peer : {"base64_encode_openssl", "base64_encode_glib"})
        ratios.push_back({"base64_encode_ours", peer});
    for (const char* peer : {"base64_decode_openssl", "base64_decode_glib"})
        ratios.push_back({"base64_decode_ours", peer});
    ratios.push_back({"base64_decode_lines_ours", "base64_decode_openssl"});
    for (const char* peer : {"hex_openssl", "hex_table_loop"})
        ratios.push_back({"hex_ours", peer});
}

// Each operation over 32 and 64 MiB.
struct LinearRow {
    const char* half;
    const char* whole;
    void (*run)(std::size_t length);
};

const String& base64Text(std::size_t length) {
    static std::map<std::size_t, String> made;
    String& text = made[length];
    if (text.empty())
        text = br_base64encode(bytes(length));
    return text;
}

void addLinear(std::vector<Ratio>& ratios) {
    static const LinearRow rows[] = {
        {"base64_encode_32M", "base64_encode_64M",
         [](std::size_t n) { benchmark::DoNotOptimize(br_base64encode(bytes(n)).data()); }},
        {"base64_decode_32M", "base64_decode_64M",
         [](std::size_t n) { benchmark::DoNotOptimize(br_base64decode(base64Text(n)).data()); }},
        {"hex_32M", "hex_64M", [](std::size_t n) { benchmark::DoNotOptimize(br_hex(bytes(n)).data()); }},
        {"HeX_32M", "HeX_64M", [](std::size_t n) { benchmark::DoNotOptimize(br_HeX(bytes(n)).data()); }},
        {"format_1M", "format_2M",
         [](std::size_t n) { benchmark::DoNotOptimize(_br_stringWithFormat(bytes(n / 32), u"%02x").data()); }},
        {"random_32M", "random_64M",
         [](std::size_t n) { benchmark::DoNotOptimize(br_randomData(static_cast<std::int32_t>(n)).data()); }},
        {"md5_32M", "md5_64M", [](std::size_t n) { benchmark::DoNotOptimize(br_MD5(bytes(n)).data()); }},
        {"sha512_text_32M", "sha512_text_64M",
         [](std::size_t n) { benchmark::DoNotOptimize(br_SHA512(base64Text(n * 3 / 4)).data()); }},
        {"rc4_32M", "rc4_64M",
         [](std::size_t n) { benchmark::DoNotOptimize(br_RC4Encrypt(bytes(n), bytes(16))->data()); }},
        {"aes_32M", "aes_64M",
         [](std::size_t n) {
             benchmark::DoNotOptimize(
                 br_AESEncryptWithBinaryPassword_keySize_useSalt(bytes(n), bytes(8), 32, true)->data());
         }},
        {"key_of_32M", "key_of_64M",
         [](std::size_t n) {
             Data key;
             Data ivec;
             computeKeyAndIvec(bytes(n), {}, 32, key, ivec);
             benchmark::DoNotOptimize(key.data());
         }},
    };
    for (const LinearRow& row : rows) {
        add(row.half, [&row] { row.run(halfOfTheLargest); });
        add(row.whole, [&row] { row.run(2 * halfOfTheLargest); });
        ratios.push_back({row.half, row.whole});
    }
}

} // namespace

int main(int argc, char** argv) {
    (void)br_MD5(Data{}); // starts the crypto library
    std::vector<Ratio> ratios;
    addKeyDerivation(ratios);
    addCiphers(ratios);
    addDigests(ratios);
    addEncodings(ratios);
    addLinear(ratios);
    return runWithRatios(argc, argv, ratios);
}
