#include "brimle/BRCrypto.h"

#include "Tests/Support/VectorFile.h"
#include "brimle/BRCryptoMemory.h"

#include <array>
#include <gtest/gtest.h>

namespace brimle {
namespace {

using testing_support::readVectors;
using testing_support::unhex;
using testing_support::VectorRow;

Data bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

Data pbkdf2(std::string_view password, std::string_view salt, std::int32_t iterations, std::int32_t length) {
    Data out(static_cast<std::size_t>(length));
    PKCS5_PBKDF2_HMAC(password.data(), static_cast<std::int32_t>(password.size()),
                      platform::charactersAsBytes(salt).data(), static_cast<std::int32_t>(salt.size()), iterations,
                      length, out.data());
    return out;
}

TEST(PBKDF2, MatchesThePublishedVectors) {
    for (const VectorRow& row : readVectors("crypto/pbkdf2-hmac-sha1.txt")) {
        const Data password = row.bytes("Password");
        const Data salt = row.bytes("Salt");
        const Data expected = row.bytes("Output");
        EXPECT_EQ(pbkdf2(platform::bytesAsCharacters(password), platform::bytesAsCharacters(salt),
                         row.number("Iterations"), static_cast<std::int32_t>(expected.size())),
                  expected)
            << row;
    }
}

TEST(PBKDF2, FewerThanOneIterationCountAsOne) {
    const Data one = pbkdf2("password", "salt", 1, 48);
    for (const std::int32_t iterations : {0, -1, -2147483647 - 1})
        EXPECT_EQ(pbkdf2("password", "salt", iterations, 48), one) << iterations;
    EXPECT_NE(pbkdf2("password", "salt", 2, 48), one);
}

TEST(PBKDF2, EveryOutputLengthIsACutOfTheLongest) {
    const Data longest = pbkdf2("password", "salt", 3, 130);
    for (std::int32_t length = 0; length <= 130; ++length) {
        Data out(static_cast<std::size_t>(length) + 4, 0xEE);
        PKCS5_PBKDF2_HMAC("password", 8, platform::charactersAsBytes("salt").data(), 4, 3, length, out.data());
        ASSERT_TRUE(std::equal(longest.begin(), longest.begin() + length, out.begin())) << length;
        for (std::size_t i = static_cast<std::size_t>(length); i < out.size(); ++i)
            ASSERT_EQ(out[i], 0xEE) << "written behind the end, " << length;
    }
    Data untouched(4, 0xEE);
    PKCS5_PBKDF2_HMAC("password", 8, nullptr, 0, 3, -5, untouched.data());
    EXPECT_EQ(untouched, Data(4, 0xEE));
    PKCS5_PBKDF2_HMAC("password", 8, nullptr, 0, 3, 0, nullptr);
}

TEST(PBKDF2, MeasuresAZeroTerminatedPassword) {
    Data out(20);
    PKCS5_PBKDF2_HMAC("password\0more", -1, platform::charactersAsBytes("salt").data(), 4, 1, 20, out.data());
    EXPECT_EQ(out, pbkdf2("password", "salt", 1, 20));
    for (const std::int32_t length : {-1, 0, 7}) {
        PKCS5_PBKDF2_HMAC(nullptr, length, platform::charactersAsBytes("salt").data(), 4, 1, 20, out.data());
        EXPECT_EQ(out, pbkdf2("", "salt", 1, 20)) << length;
    }
    PKCS5_PBKDF2_HMAC("password", 8, nullptr, 0, 1, 20, out.data());
    EXPECT_EQ(out, pbkdf2("password", "", 1, 20));
}

Data joined(Data a, const Data& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(ComputeKeyAndIvec, ChainsMD5) {
    struct Case {
        std::optional<Data> password;
        std::optional<Data> salt;
    };
    const Case rows[] = {
        {bytesOf("password"), bytesOf("saltsalt")},
        {bytesOf("password"), std::nullopt},
        {bytesOf("password"), Data{}},
        {bytesOf(std::string_view("a\0b", 3)), bytesOf("12345678")}, // not cut
        {Data{}, std::nullopt},
        {std::nullopt, std::nullopt},
        {std::nullopt, bytesOf("saltsalt")},
        {Data(1000, 7), Data(100, 8)},
    };
    for (const Case& row : rows) {
        const Data m = joined(row.password.value_or(Data{}), row.salt.value_or(Data{}));
        const Data d1 = br_MD5(m);
        const Data d2 = br_MD5(joined(d1, m));
        const Data d3 = br_MD5(joined(d2, m));
        Data key(3, 1); // what was there is replaced
        Data ivec(99, 2);
        computeKeyAndIvec(row.password, row.salt, 16, key, ivec);
        EXPECT_EQ(key, d1);
        EXPECT_EQ(ivec, d2);
        // No split of its own for 192 bits, or for anything else.
        for (const std::int32_t keySize : {32, 24, 0, 1, 15, 17, 33, -16, 2147483647, -2147483647 - 1}) {
            computeKeyAndIvec(row.password, row.salt, keySize, key, ivec);
            EXPECT_EQ(key, joined(d1, d2)) << keySize;
            EXPECT_EQ(ivec, d3) << keySize;
        }
    }
}

// "openssl enc -aes-256-cbc -md md5 -k password -S 0102030405060708 -P" and the same for aes-128-cbc, OpenSSL 3.0.
TEST(ComputeKeyAndIvec, MatchesTheOpenSSLCommandsOutput) {
    Data key;
    Data ivec;
    computeKeyAndIvec(bytesOf("password"), unhex("0102030405060708"), 32, key, ivec);
    EXPECT_EQ(key, unhex("e7b0971e52ca5cc8d0539fb3412f6316f7ba2e6ee293d9f3457b99436b51ce02"));
    EXPECT_EQ(ivec, unhex("8d450e2ed75a84a923d4eac9fe49226b"));
    computeKeyAndIvec(bytesOf("password"), unhex("0102030405060708"), 16, key, ivec);
    EXPECT_EQ(key, unhex("e7b0971e52ca5cc8d0539fb3412f6316"));
    EXPECT_EQ(ivec, unhex("f7ba2e6ee293d9f3457b99436b51ce02"));
}

TEST(Wiped, LeavesNothingBehind) {
    using WipedBytes = Wiped<std::array<std::uint8_t, 32>>;
    alignas(WipedBytes) std::array<std::uint8_t, sizeof(WipedBytes)> memory{};
    auto* secret = new (memory.data()) WipedBytes;
    secret->bytes.fill(0x5A);
    EXPECT_EQ(memory[31], 0x5A);
    secret->~WipedBytes();
    EXPECT_EQ(memory, (std::array<std::uint8_t, sizeof(WipedBytes)>{}));

    Data data(32, 0x5A);
    wipe(data);
    EXPECT_EQ(data, Data(32));
    String text(5, u'x');
    wipe(text);
    EXPECT_EQ(text, String(5, u'\0'));
    Data empty;
    wipe(empty);
}

} // namespace
} // namespace brimle
