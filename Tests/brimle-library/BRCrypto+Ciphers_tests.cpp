#include "brimle/BRCrypto.h"

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/VectorFile.h"

#include <gmock/gmock.h>
#include <random>

namespace brimle {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::LogCapture;
using testing_support::unhex;

constexpr std::uint32_t encrypt = 0;
constexpr std::uint32_t decrypt = 1;
constexpr std::uint32_t aes = 0;
constexpr std::uint32_t rc4 = 4;

Data bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}
const Data magic = bytesOf("Salted__");
const Data salt = bytesOf("saltsalt");

Data joined(Data a, const Data& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// --- RC4 ---

TEST(RC4, TakesTheKeyAsGiven) {
    // The key stream of RFC 6229 for the key 0102030405, from its beginning.
    const Data stream = unhex("b2396305f03dc027ccc3524a0a1118a8");
    for (const std::uint32_t operation : {encrypt, decrypt})
        EXPECT_EQ(br_RC4Operation_withKey(Data(16), operation, unhex("0102030405")), stream);
    EXPECT_EQ(br_RC4Operation_withKey(Data{}, encrypt, unhex("0102030405")), Data{});
}

TEST(RC4, HashesTheKeyOfTheConvenienceForms) {
    const Data data = bytesOf("some text");
    const String text = u"k\u00E9y";
    const Data utf8 = bytesOf("k\xC3\xA9y");
    const auto expected = br_RC4Operation_withKey(data, encrypt, br_SHA256(utf8));
    ASSERT_TRUE(expected);
    EXPECT_NE(*expected, data);
    EXPECT_EQ(br_RC4Encrypt(data, text), expected);
    EXPECT_EQ(br_RC4Encrypt(data, utf8), expected);
    EXPECT_EQ(br_RC4Decrypt(data, text), expected); // the same bytes either way
    EXPECT_EQ(br_RC4Decrypt(data, utf8), expected);
    EXPECT_EQ(br_RC4Decrypt(*expected, text), data);
    EXPECT_EQ(br_RC4Decrypt(*br_RC4Encrypt(data, Data{}), Data{}), data);
}

TEST(RC4, CutsAStringKeyAtItsFirstZeroButNotABuffer) {
    const Data data = bytesOf("some text");
    EXPECT_EQ(br_RC4Encrypt(data, StringView(u"a\0b", 3)), br_RC4Encrypt(data, StringView(u"a")));
    EXPECT_NE(br_RC4Encrypt(data, bytesOf(std::string_view("a\0b", 3))), br_RC4Encrypt(data, bytesOf("a")));
}

TEST(RC4, LogsAFailure) {
    LogCapture log;
    EXPECT_EQ(br_RC4Operation_withKey(bytesOf("data"), encrypt, Data{}), std::nullopt);
    EXPECT_EQ(br_RC4Operation_withKey(bytesOf("data"), 2, bytesOf("a key")), std::nullopt);
    EXPECT_THAT(log.messages(),
                ElementsAre("RC4 Crypto operation failed: -4300", "RC4 Crypto operation failed: -4300"));
    EXPECT_THAT(log.systemLog(), HasSubstr("RC4 Crypto operation failed: -4300"));
}

// --- The block cipher ---

TEST(BlockCipher, RoundTripsEveryLengthForEveryKeySize) {
    for (const std::size_t keySize : {16u, 24u, 32u}) {
        const Data key(keySize, 3);
        const Data ivec(16, 4);
        for (std::size_t length = 0; length <= 256; ++length) {
            const Data plain(length, static_cast<std::uint8_t>(length));
            const auto cipher = br_commonCryptoOperation_algorithm_key_ivec(plain, encrypt, aes, key, ivec);
            ASSERT_TRUE(cipher);
            ASSERT_EQ(cipher->size(), length == 0 ? 0 : length / 16 * 16 + 16);
            ASSERT_EQ(br_commonCryptoOperation_algorithm_key_ivec(*cipher, decrypt, aes, key, ivec), plain);
            ASSERT_EQ(br_AESEncryptWithKey_ivec_salt(plain, key, ivec, std::nullopt), cipher);
            ASSERT_EQ(br_AESDecryptWithKey_ivec(*cipher, key, ivec), plain);
        }
    }
}

TEST(BlockCipher, TakesAnAbsentIVAsZeros) {
    const Data key(32, 3);
    const Data plain(40, 4);
    EXPECT_EQ(br_commonCryptoOperation_algorithm_key_ivec(plain, encrypt, aes, key, std::nullopt),
              br_commonCryptoOperation_algorithm_key_ivec(plain, encrypt, aes, key, Data(16)));
    // Of a longer one the first 16 bytes count.
    EXPECT_EQ(br_commonCryptoOperation_algorithm_key_ivec(plain, encrypt, aes, key, joined(Data(16), Data(16, 7))),
              br_commonCryptoOperation_algorithm_key_ivec(plain, encrypt, aes, key, Data(16)));
}

TEST(BlockCipher, LooksAtNothingWhenTheDataIsEmpty) {
    LogCapture log;
    for (const std::uint32_t operation : {encrypt, decrypt, 77u})
        for (const std::uint32_t algorithm : {aes, rc4, 99u})
            EXPECT_EQ(br_commonCryptoOperation_algorithm_key_ivec(Data{}, operation, algorithm, Data(5), Data(1)),
                      Data{});
    EXPECT_EQ(br_AESDecryptWithKey_ivec(Data{}, Data{}, std::nullopt), Data{});
    EXPECT_THAT(log.messages(), IsEmpty());
}

struct FailureCase {
    const char* what;
    std::uint32_t operation;
    std::uint32_t algorithm;
    std::size_t dataLength;
    std::size_t keyLength;
    std::size_t ivecLength;
    const char* message;
};

TEST(BlockCipher, LogsAFailureWithItsStatus) {
    const FailureCase rows[] = {
        {"no key", encrypt, aes, 16, 0, 16, "Crypto operation failed: -4300"},
        {"key of 15", encrypt, aes, 16, 15, 16, "Crypto operation failed: -4300"},
        {"key of 31", decrypt, aes, 16, 31, 16, "Crypto operation failed: -4300"},
        {"operation", 2, aes, 16, 16, 16, "Crypto operation failed: -4300"},
        {"IV of 15", encrypt, aes, 16, 16, 15, "Crypto operation failed: -4300"},
        {"empty IV", encrypt, aes, 16, 16, 0, "Crypto operation failed: -4300"},
        {"one byte", decrypt, aes, 1, 16, 16, "Crypto operation failed: -4303"},
        {"15 bytes", decrypt, aes, 15, 16, 16, "Crypto operation failed: -4303"},
        {"33 bytes", decrypt, aes, 33, 16, 16, "Crypto operation failed: -4303"},
        {"garbage", decrypt, aes, 16, 16, 16, "Crypto operation failed: -4304"},
        {"algorithm", encrypt, 6, 16, 16, 16, "Crypto operation failed: -4305"},
    };
    for (const FailureCase& row : rows) {
        LogCapture log;
        EXPECT_EQ(br_commonCryptoOperation_algorithm_key_ivec(Data(row.dataLength, 1), row.operation, row.algorithm,
                                                              Data(row.keyLength, 2), Data(row.ivecLength, 3)),
                  std::nullopt)
            << row.what;
        EXPECT_THAT(log.messages(), ElementsAre(row.message)) << row.what;
        EXPECT_THAT(log.systemLog(), HasSubstr(row.message)) << row.what;
    }
}

// --- The container ---

TEST(Container, HoldsTheSaltAsGiven) {
    const Data key(16, 1);
    const Data plain = bytesOf("plain text");
    const auto bare = br_AESEncryptWithKey_ivec_salt(plain, key, std::nullopt, std::nullopt);
    ASSERT_TRUE(bare);
    for (const std::size_t length : {0u, 3u, 8u, 16u, 100u}) {
        const Data anySalt(length, 0x53);
        EXPECT_EQ(br_AESEncryptWithKey_ivec_salt(plain, key, std::nullopt, anySalt),
                  joined(joined(magic, anySalt), *bare))
            << length;
        EXPECT_EQ(br_AESEncryptWithKey_ivec_salt(Data{}, key, std::nullopt, anySalt), joined(magic, anySalt)) << length;
    }
}

TEST(Container, IsLeftWithoutCiphertextByAFailure) {
    LogCapture log;
    const Data badKey(15, 1);
    EXPECT_EQ(br_AESEncryptWithKey_ivec_salt(bytesOf("x"), badKey, std::nullopt, salt), joined(magic, salt));
    EXPECT_EQ(br_AESEncryptWithKey_ivec_salt(bytesOf("x"), badKey, std::nullopt, Data{}), magic);
    EXPECT_EQ(br_AESEncryptWithKey_ivec_salt(bytesOf("x"), badKey, std::nullopt, std::nullopt), std::nullopt);
    EXPECT_THAT(log.messages(), ElementsAre("Crypto operation failed: -4300", "Crypto operation failed: -4300",
                                            "Crypto operation failed: -4300"));
}

TEST(Container, IsNotParsedUnderAnExplicitKey) {
    const Data key(16, 1);
    const auto container = br_AESEncryptWithKey_ivec_salt(bytesOf("text"), key, std::nullopt, salt);
    ASSERT_EQ(container->size(), 32u);
    const LogCapture log;
    EXPECT_NE(br_AESDecryptWithKey_ivec(*container, key, std::nullopt), bytesOf("text"));
}

} // namespace
} // namespace brimle
