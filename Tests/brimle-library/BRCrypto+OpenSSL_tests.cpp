// Agreement with OpenSSL: its library for many inputs, its command for the formats that people exchange with it. This
// program links both libraries, each with its own PKCS5_PBKDF2_HMAC.
#include "brimle/BRCrypto.h"

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Process.h"

#include <gtest/gtest.h>
#include <memory>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/provider.h>
#include <random>
#include <sstream>

namespace brimle {
namespace {

using testing_support::ProcessResult;
using testing_support::TemporaryFolder;

constexpr const char* opensslCommand = "/usr/bin/openssl";

int asInt(std::size_t length) {
    return static_cast<int>(length);
}

Data bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}
std::string textOf(const Data& data) {
    return {data.begin(), data.end()};
}
std::string ascii(const String& text) {
    return {text.begin(), text.end()};
}

class RandomBytes {
public:
    explicit RandomBytes(unsigned seed) : random_(seed) {}
    Data operator()(std::size_t length) {
        Data data(length);
        for (std::uint8_t& byte : data)
            byte = static_cast<std::uint8_t>(random_());
        return data;
    }
    std::size_t below(std::size_t limit) { return random_() % limit; }

private:
    std::mt19937 random_;
};

// What the command writes to its standard output; it must succeed.
std::string openssl(const std::vector<std::string>& arguments, const std::string& input = {}) {
    testing_support::ProcessOptions options;
    options.input = input;
    const ProcessResult result = testing_support::run(opensslCommand, arguments, options, std::chrono::seconds(60));
    EXPECT_EQ(result.status, 0) << arguments[0] << ": " << result.errors;
    return result.output;
}

// --- Key derivation ---

TEST(BothLibraries, DeriveTheSameKeysUnderTheSameName) {
    RandomBytes random(11);
    for (int round = 0; round < 400; ++round) {
        const std::string password = textOf(random(random.below(150)));
        const Data salt = random(random.below(150));
        const auto iterations = static_cast<std::int32_t>(1 + random.below(20));
        Data ours(1 + random.below(120));
        Data theirs(ours.size());
        brimle::PKCS5_PBKDF2_HMAC(password.data(), asInt(password.size()), salt.data(), asInt(salt.size()), iterations,
                                  asInt(ours.size()), ours.data());
        ASSERT_EQ(::PKCS5_PBKDF2_HMAC(password.data(), asInt(password.size()), salt.data(), asInt(salt.size()),
                                      iterations, EVP_sha1(), asInt(theirs.size()), theirs.data()),
                  1);
        ASSERT_EQ(ours, theirs) << password.size() << " " << salt.size() << " " << iterations << " " << ours.size();
    }
}

const EVP_CIPHER* aes(std::int32_t keySize) {
    return keySize == 16 ? EVP_aes_128_cbc() : EVP_aes_256_cbc();
}

struct KeyAndIvec {
    Data key;
    Data ivec;
};

KeyAndIvec bytesToKey(std::int32_t keySize, const Data& password, const Data* salt) {
    KeyAndIvec derived{Data(static_cast<std::size_t>(keySize)), Data(16)};
    EXPECT_EQ(EVP_BytesToKey(aes(keySize), EVP_md5(), salt ? salt->data() : nullptr, password.data(),
                             asInt(password.size()), 1, derived.key.data(), derived.ivec.data()),
              keySize);
    return derived;
}

TEST(BothLibraries, AgreeOnTheMD5Rule) {
    RandomBytes random(12);
    for (int round = 0; round < 2000; ++round) {
        const Data password = random(1 + random.below(100));
        const Data salt = random(8);
        for (const std::int32_t keySize : {16, 32})
            for (const bool salted : {true, false}) {
                Data key;
                Data ivec;
                computeKeyAndIvec(password, salted ? std::optional<DataView>(salt) : std::nullopt, keySize, key, ivec);
                const KeyAndIvec theirs = bytesToKey(keySize, password, salted ? &salt : nullptr);
                ASSERT_EQ(key, theirs.key);
                ASSERT_EQ(ivec, theirs.ivec);
            }
    }
}

// --- Ciphers ---

std::optional<Data> evpCipher(const EVP_CIPHER* cipher, bool encrypts, const Data& key, const Data& ivec, DataView in) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  &EVP_CIPHER_CTX_free);
    Data out(in.size() + 32);
    int length = 0;
    int last = 0;
    EVP_CipherInit_ex(context.get(), cipher, nullptr, nullptr, nullptr, encrypts ? 1 : 0);
    EVP_CIPHER_CTX_set_key_length(context.get(), asInt(key.size()));
    EVP_CipherInit_ex(context.get(), nullptr, nullptr, key.data(), ivec.data(), encrypts ? 1 : 0);
    if (EVP_CipherUpdate(context.get(), out.data(), &length, in.data(), asInt(in.size())) != 1 ||
        EVP_CipherFinal_ex(context.get(), out.data() + length, &last) != 1)
        return std::nullopt;
    out.resize(static_cast<std::size_t>(length) + static_cast<std::size_t>(last));
    return out;
}

Data container(const Data& salt, const Data& ciphertext) {
    Data data = bytesOf("Salted__");
    data.insert(data.end(), salt.begin(), salt.end());
    data.insert(data.end(), ciphertext.begin(), ciphertext.end());
    return data;
}

TEST(BothLibraries, ReadEachOthersContainersOfEverySize) {
    RandomBytes random(13);
    const Data password = bytesOf("correct horse");
    const Data salt = random(8);
    for (const std::int32_t keySize : {16, 32}) {
        const KeyAndIvec salted = bytesToKey(keySize, password, &salt);
        const KeyAndIvec bare = bytesToKey(keySize, password, nullptr);
        for (std::size_t size = 1; size <= 4097; ++size) {
            const Data plain = random(size);
            // Theirs read by us.
            const Data cipher = *evpCipher(aes(keySize), true, salted.key, salted.ivec, plain);
            ASSERT_EQ(br_AESDecryptWithBinaryPassword_keySize(container(salt, cipher), password, keySize), plain)
                << size;
            const Data bareCipher = *evpCipher(aes(keySize), true, bare.key, bare.ivec, plain);
            ASSERT_EQ(br_AESDecryptWithBinaryPassword_keySize(bareCipher, password, keySize), plain) << size;
            // Ours read by them.
            ASSERT_EQ(br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, keySize, false), bareCipher);
            const Data ours = *br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, keySize, true);
            const Data ourSalt(ours.begin() + 8, ours.begin() + 16);
            const KeyAndIvec theirs = bytesToKey(keySize, password, &ourSalt);
            ASSERT_EQ(evpCipher(aes(keySize), false, theirs.key, theirs.ivec, DataView(ours).subspan(16)), plain)
                << size;
        }
    }
}

// Whether they refuse or take a damaged text, so do we, with the same bytes.
TEST(BothLibraries, AgreeOnDamagedCiphertext) {
    RandomBytes random(14);
    const Data key = random(16);
    const Data ivec = random(16);
    const testing_support::LogCapture log;
    int taken = 0;
    for (int round = 0; round < 5000; ++round) {
        const Data cipher = random(16 * (1 + random.below(3)));
        const auto theirs = evpCipher(EVP_aes_128_cbc(), false, key, ivec, cipher);
        const auto ours = br_AESDecryptWithKey_ivec(cipher, key, ivec);
        ASSERT_EQ(ours, theirs);
        taken += ours ? 1 : 0;
    }
    EXPECT_GT(taken, 5); // about 1 in 256
}

TEST(BothLibraries, AgreeOnRC4) {
    const std::unique_ptr<OSSL_PROVIDER, decltype(&OSSL_PROVIDER_unload)> legacy(OSSL_PROVIDER_load(nullptr, "legacy"),
                                                                                 &OSSL_PROVIDER_unload);
    const std::unique_ptr<OSSL_PROVIDER, decltype(&OSSL_PROVIDER_unload)> standard(
        OSSL_PROVIDER_load(nullptr, "default"), &OSSL_PROVIDER_unload);
    ASSERT_TRUE(legacy);
    const std::unique_ptr<EVP_CIPHER, decltype(&EVP_CIPHER_free)> rc4(EVP_CIPHER_fetch(nullptr, "RC4", nullptr),
                                                                      &EVP_CIPHER_free);
    ASSERT_TRUE(rc4);
    RandomBytes random(15);
    for (std::uint32_t round = 0; round < 2000; ++round) {
        const Data key = random(1 + random.below(256));
        const Data plain = random(random.below(500));
        ASSERT_EQ(br_RC4Operation_withKey(plain, round % 2, key), evpCipher(rc4.get(), true, key, Data(16), plain))
            << key.size();
    }
}

struct EncCase {
    std::int32_t keySize;
    bool salted;
};
const EncCase encCases[] = {{16, true}, {16, false}, {32, true}, {32, false}};

std::vector<std::string> encArguments(const EncCase& row, bool encrypts) {
    return {"enc",
            row.keySize == 16 ? "-aes-128-cbc" : "-aes-256-cbc",
            "-md",
            "md5",
            encrypts ? "-e" : "-d",
            row.salted ? "-salt" : "-nosalt",
            "-k",
            "a password"};
}

void exchangeWithTheCommand(const Data& plain) {
    const Data password = bytesOf("a password");
    for (const EncCase& row : encCases) {
        const Data theirs = bytesOf(openssl(encArguments(row, true), textOf(plain)));
        EXPECT_EQ(br_AESDecryptWithBinaryPassword_keySize(theirs, password, row.keySize), plain)
            << plain.size() << " " << row.keySize << row.salted;
        const auto ours = br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, row.keySize, row.salted);
        EXPECT_EQ(bytesOf(openssl(encArguments(row, false), textOf(*ours))), plain)
            << plain.size() << " " << row.keySize << row.salted;
    }
}

TEST(OpenSSLCommand, ReadsAndWritesOurContainers) {
    RandomBytes random(16);
    for (const std::size_t size : {1u,   2u,   15u,   16u,   17u,   31u,   32u,   33u,   47u,   48u,   100u,  255u,
                                   256u, 257u, 1000u, 1023u, 1024u, 2047u, 2048u, 3000u, 4080u, 4095u, 4096u, 4097u})
        exchangeWithTheCommand(random(size));
}

TEST(OpenSSLCommand, ReadsAndWritesTenMegabytes) {
    exchangeWithTheCommand(RandomBytes(17)(10'000'000));
}

// The command's own use of PBKDF2 splits its output into key and IV as ours does.
TEST(OpenSSLCommand, ExchangesContainersUnderPBKDF2) {
    const std::vector<std::string> common{"-pbkdf2", "-md", "sha1", "-iter", "1000", "-k", "a pässword"};
    RandomBytes random(18);
    for (const std::int32_t keySize : {16, 32})
        for (const std::size_t size : {1u, 16u, 1000u}) {
            const Data plain = random(size);
            std::vector<std::string> arguments{"enc", keySize == 16 ? "-aes-128-cbc" : "-aes-256-cbc", "-e"};
            arguments.insert(arguments.end(), common.begin(), common.end());
            const Data theirs = bytesOf(openssl(arguments, textOf(plain)));
            EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(theirs, u"a pässword", keySize, 1000), plain);
            arguments[2] = "-d";
            const auto ours = br_AESEncryptWithPassword_keySize_PBKDF2Iterations(plain, u"a pässword", keySize, 1000);
            EXPECT_EQ(bytesOf(openssl(arguments, textOf(*ours))), plain);
        }
}

// --- Digests and encodings ---

struct DigestCase {
    const char* option;
    String (*hex)(const Data&);
};

TEST(OpenSSLCommand, DigestsThousandsOfFilesTheSame) {
    const DigestCase rows[] = {
        {"-md5", [](const Data& data) { return br_MD5hex(data); }},
        {"-sha1", [](const Data& data) { return br_hex(br_SHA1(data)); }},
        {"-sha256", [](const Data& data) { return br_SHA256hex(data); }},
        {"-sha512", [](const Data& data) { return br_SHA512hex(data); }},
    };
    RandomBytes random(19);
    const TemporaryFolder folder;
    std::vector<Data> contents;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < 2000; ++i) {
        contents.push_back(random(i < 600 ? i : random.below(5000)));
        paths.push_back((folder / std::to_string(i)).string());
        testing_support::write(paths.back(), textOf(contents.back()));
    }
    for (const DigestCase& row : rows) {
        std::vector<std::string> arguments{"dgst", row.option, "-r"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        std::istringstream lines(openssl(arguments));
        std::string line;
        for (const Data& data : contents) {
            ASSERT_TRUE(std::getline(lines, line));
            ASSERT_EQ(ascii(row.hex(data)), line.substr(0, line.find(' '))) << row.option << data.size();
        }
    }
}

TEST(BothLibraries, AgreeOnBase64AndHexadecimal) {
    RandomBytes random(20);
    for (int round = 0; round < 5000; ++round) {
        const Data data = random(random.below(700));
        std::string text(data.size() * 2 + 5, '\0');
        const int length =
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), data.data(), asInt(data.size()));
        text.resize(static_cast<std::size_t>(length));
        ASSERT_EQ(ascii(br_base64encode(data)), text);
        ASSERT_EQ(br_base64decode(String(text.begin(), text.end())), data);
        std::string hex(data.size() * 2 + 1, '\0');
        std::size_t written = 0;
        ASSERT_EQ(OPENSSL_buf2hexstr_ex(hex.data(), hex.size(), &written, data.data(), data.size(), '\0'), 1);
        ASSERT_EQ(ascii(br_HEX(data)), hex.c_str());
    }
}

TEST(OpenSSLCommand, ExchangesBase64OnOneLineAndOnMany) {
    RandomBytes random(21);
    for (const std::size_t size : {1u, 2u, 3u, 47u, 48u, 49u, 100u, 1000u, 100000u}) {
        const Data data = random(size);
        EXPECT_EQ(openssl({"base64", "-A"}, textOf(data)), ascii(br_base64encode(data))) << size;
        const std::string lines = openssl({"base64"}, textOf(data));
        EXPECT_EQ(br_base64decode(String(lines.begin(), lines.end())), data) << size;
        EXPECT_EQ(bytesOf(openssl({"base64", "-d", "-A"}, ascii(br_base64encode(data)))), data) << size;
    }
}

} // namespace
} // namespace brimle
