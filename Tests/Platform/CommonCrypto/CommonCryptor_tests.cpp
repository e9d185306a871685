#include "CommonCrypto/CommonCryptor.h"

#include "Tests/Support/VectorFile.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using testing_support::readVectors;
using testing_support::VectorRow;

struct Outcome {
    CCCryptorStatus status;
    std::size_t moved;
    Data bytes; // as much as the call reported

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

// One call with `room` bytes for the result (by default more than ever needed).
Outcome crypt(CCOperation op, CCAlgorithm alg, CCOptions options, DataView key, const Data* iv, DataView in,
              std::size_t room = 1 << 16) {
    constexpr std::uint8_t untouched = 0xEE;
    Data out(room, untouched);
    Outcome outcome{0, 99, {}};
    outcome.status = CCCrypt(op, alg, options, key.data(), key.size(), iv ? iv->data() : nullptr, in.data(), in.size(),
                             out.data(), out.size(), &outcome.moved);
    if (outcome.status == kCCSuccess)
        outcome.bytes.assign(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(outcome.moved));
    // Nothing is ever written behind the result.
    const std::size_t written = std::max(outcome.bytes.size(), in.size());
    for (std::size_t i = written; i < room; ++i)
        EXPECT_EQ(out[i], untouched);
    return outcome;
}

Data concatenated(const Data& a, const Data& b) {
    Data both = a;
    both.insert(both.end(), b.begin(), b.end());
    return both;
}

TEST(CCCrypt, MatchesThePublishedAESVectors) {
    for (const VectorRow& row : readVectors("crypto/aes-cbc.txt")) {
        const Data key = row.bytes("Key");
        const Data iv = row.bytes("IV");
        const Data plain = row.bytes("Plain");
        const Data cipher = concatenated(row.bytes("Cipher"), row.bytes("Padding"));
        const Outcome encrypted = crypt(kCCEncrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, &iv, plain);
        EXPECT_EQ(encrypted, (Outcome{kCCSuccess, 80, cipher})) << row;
        const Outcome decrypted = crypt(kCCDecrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, &iv, cipher);
        EXPECT_EQ(decrypted, (Outcome{kCCSuccess, 64, plain})) << row;
        // Without the last block there is no padding: a text that happens to be right is refused all the same.
        EXPECT_EQ(crypt(kCCDecrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, &iv, row.bytes("Cipher")).status,
                  kCCDecodeError)
            << row;
    }
}

TEST(CCCrypt, MatchesThePublishedRC4Vectors) {
    for (const VectorRow& row : readVectors("crypto/rc4.txt")) {
        const Data zeros(4112);
        const Outcome stream = crypt(kCCEncrypt, kCCAlgorithmRC4, 0, row.bytes("Key"), nullptr, zeros);
        ASSERT_EQ(stream.moved, zeros.size()) << row;
        for (const auto& [name, value] : row.fields) {
            if (!name.starts_with("At"))
                continue;
            const auto offset = stream.bytes.begin() + std::stoi(name.substr(2));
            EXPECT_EQ(Data(offset, offset + 16), row.bytes(name)) << name << " of " << row;
        }
        EXPECT_EQ(crypt(kCCDecrypt, kCCAlgorithmRC4, 0, row.bytes("Key"), nullptr, zeros), stream) << row;
    }
}

// The key schedule as published, for key lengths that no published vector has.
Data rc4Stream(const Data& key, std::size_t length) {
    std::array<std::uint8_t, 256> s{};
    for (std::size_t i = 0; i < s.size(); ++i)
        s[i] = static_cast<std::uint8_t>(i);
    std::uint8_t j = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        j = static_cast<std::uint8_t>(j + s[i] + key[i % key.size()]);
        std::swap(s[i], s[j]);
    }
    Data stream;
    std::uint8_t i = 0;
    j = 0;
    while (stream.size() < length) {
        ++i;
        j = static_cast<std::uint8_t>(j + s[i]);
        std::swap(s[i], s[j]);
        stream.push_back(s[static_cast<std::uint8_t>(s[i] + s[j])]);
    }
    return stream;
}

TEST(CCCrypt, TakesRC4KeysOfEveryLength) {
    const Data zeros(40);
    for (std::size_t length = 0; length <= 520; ++length) {
        Data key;
        for (std::size_t i = 0; i < length; ++i)
            key.push_back(static_cast<std::uint8_t>(i * 7 + 3));
        const Outcome stream = crypt(kCCEncrypt, kCCAlgorithmRC4, 0, key, nullptr, zeros);
        if (length < 1 || length > 512)
            EXPECT_EQ(stream, (Outcome{kCCParamError, 0, {}})) << length;
        else
            EXPECT_EQ(stream, (Outcome{kCCSuccess, 40, rc4Stream(key, 40)})) << length;
    }
}

TEST(CCCrypt, TakesAbsentIVAsZeros) {
    const Data key(16, 1);
    const Data zeros(16);
    const Data plain(33, 7);
    EXPECT_EQ(crypt(kCCEncrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, nullptr, plain),
              crypt(kCCEncrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, &zeros, plain));
}

TEST(CCCrypt, RoundTripsEveryLengthInPlaceAndApart) {
    for (const std::size_t keyLength : {16u, 24u, 32u}) {
        const Data key(keyLength, 0x5A);
        for (std::size_t length = 0; length <= 256; ++length) {
            const Data plain(length, static_cast<std::uint8_t>(length));
            const Outcome encrypted = crypt(kCCEncrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, nullptr, plain);
            ASSERT_EQ(encrypted.moved, length / 16 * 16 + 16);
            ASSERT_EQ(crypt(kCCDecrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, nullptr, encrypted.bytes),
                      (Outcome{kCCSuccess, length, plain}));
            Data inPlace = encrypted.bytes;
            std::size_t moved = 0;
            ASSERT_EQ(CCCrypt(kCCDecrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key.data(), key.size(), nullptr,
                              inPlace.data(), inPlace.size(), inPlace.data(), inPlace.size(), &moved),
                      kCCSuccess);
            inPlace.resize(moved);
            ASSERT_EQ(inPlace, plain);
        }
    }
}

// Every content of the last block: the CBC chain turns a change of the block before into the same change of the text.
TEST(CCCrypt, ChecksThePadding) {
    const Data key(16, 9);
    const Data plain(31, 0x41); // one byte of padding: 01
    const Data cipher = crypt(kCCEncrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, nullptr, plain).bytes;
    for (int last = 0; last < 256; ++last) {
        Data changed = cipher;
        changed[15] = static_cast<std::uint8_t>(changed[15] ^ 1 ^ last);
        const Outcome outcome = crypt(kCCDecrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, nullptr, changed);
        if (last == 1)
            EXPECT_EQ(outcome.moved, 31u);
        else
            EXPECT_EQ(outcome, (Outcome{kCCDecodeError, 0, {}})) << last;
    }
    for (std::uint8_t count = 1; count <= 16; ++count) {
        for (std::uint8_t wrongAt = 0; wrongAt <= count; ++wrongAt) { // `count` means none
            Data changed = cipher;
            for (std::uint8_t i = 0; i < 16; ++i) {
                const int was = i == 15 ? 1 : 0x41;
                const int becomes = i >= 16 - count ? count : 0x41;
                changed[i] = static_cast<std::uint8_t>(changed[i] ^ was ^ becomes);
            }
            if (wrongAt < count)
                changed[15u - wrongAt] ^= 0x80;
            const Outcome outcome = crypt(kCCDecrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key, nullptr, changed);
            EXPECT_EQ(outcome.status, wrongAt < count ? kCCDecodeError : kCCSuccess) << +count << " " << +wrongAt;
            EXPECT_EQ(outcome.moved, wrongAt < count ? 0u : 32u - count) << +count << " " << +wrongAt;
        }
    }
}

TEST(CCCrypt, LeavesNothingBehindWhenThePaddingIsWrong) {
    const Data key(16, 9);
    const Data cipher(64, 0x33);
    Data out(64, 0xEE);
    std::size_t moved = 99;
    EXPECT_EQ(CCCrypt(kCCDecrypt, kCCAlgorithmAES128, kCCOptionPKCS7Padding, key.data(), key.size(), nullptr,
                      cipher.data(), cipher.size(), out.data(), out.size(), &moved),
              kCCDecodeError);
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(out, Data(64));
}

struct RefusalCase {
    const char* what;
    CCOperation op;
    CCAlgorithm alg;
    CCOptions options;
    std::size_t keyLength;
    std::size_t length;
    std::size_t room;
    CCCryptorStatus status;
    std::size_t moved;
};

TEST(CCCrypt, RefusesWithThePublishedStatus) {
    const RefusalCase rows[] = {
        {"operation", 2, kCCAlgorithmAES128, 1, 16, 16, 99, kCCParamError, 0},
        {"operation, RC4", 7, kCCAlgorithmRC4, 0, 16, 16, 99, kCCParamError, 0},
        {"algorithm DES", kCCEncrypt, 1, 1, 8, 16, 99, kCCUnimplemented, 0},
        {"unknown algorithm", kCCEncrypt, 4000000000u, 1, 16, 16, 99, kCCUnimplemented, 0},
        {"ECB mode", kCCEncrypt, kCCAlgorithmAES128, 2, 16, 16, 99, kCCUnimplemented, 0},
        {"no padding", kCCEncrypt, kCCAlgorithmAES128, 0, 16, 16, 99, kCCUnimplemented, 0},
        {"no key", kCCEncrypt, kCCAlgorithmAES128, 1, 0, 16, 99, kCCParamError, 0},
        {"key of 15", kCCEncrypt, kCCAlgorithmAES128, 1, 15, 16, 99, kCCParamError, 0},
        {"key of 17", kCCDecrypt, kCCAlgorithmAES128, 1, 17, 16, 99, kCCParamError, 0},
        {"key of 33", kCCEncrypt, kCCAlgorithmAES128, 1, 33, 16, 99, kCCParamError, 0},
        {"key of 256", kCCEncrypt, kCCAlgorithmAES128, 1, 256, 16, 999, kCCParamError, 0},
        {"room for encryption", kCCEncrypt, kCCAlgorithmAES128, 1, 16, 16, 31, kCCBufferTooSmall, 32},
        {"room for encryption of nothing", kCCEncrypt, kCCAlgorithmAES128, 1, 16, 0, 15, kCCBufferTooSmall, 16},
        {"room for decryption", kCCDecrypt, kCCAlgorithmAES128, 1, 16, 32, 31, kCCBufferTooSmall, 32},
        {"room for RC4", kCCEncrypt, kCCAlgorithmRC4, 0, 16, 32, 31, kCCBufferTooSmall, 32},
        {"ciphertext of 1", kCCDecrypt, kCCAlgorithmAES128, 1, 16, 1, 99, kCCAlignmentError, 0},
        {"ciphertext of 31", kCCDecrypt, kCCAlgorithmAES128, 1, 32, 31, 99, kCCAlignmentError, 0},
        {"no ciphertext", kCCDecrypt, kCCAlgorithmAES128, 1, 16, 0, 99, kCCDecodeError, 0},
    };
    for (const RefusalCase& row : rows) {
        const Outcome outcome =
            crypt(row.op, row.alg, row.options, Data(row.keyLength, 1), nullptr, Data(row.length, 2), row.room);
        EXPECT_EQ(outcome, (Outcome{row.status, row.moved, {}})) << row.what;
    }
    EXPECT_EQ(kCCParamError, -4300);
    EXPECT_EQ(kCCBufferTooSmall, -4301);
    EXPECT_EQ(kCCAlignmentError, -4303);
    EXPECT_EQ(kCCDecodeError, -4304);
    EXPECT_EQ(kCCUnimplemented, -4305);
}

TEST(CCCrypt, NeedsNoPlaceForTheCount) {
    Data bytes(16, 1);
    EXPECT_EQ(
        CCCrypt(kCCEncrypt, kCCAlgorithmRC4, 0, bytes.data(), 16, nullptr, bytes.data(), 16, bytes.data(), 16, nullptr),
        kCCSuccess);
    EXPECT_EQ(CCCrypt(kCCEncrypt, kCCAlgorithmRC4, 0, bytes.data(), 16, nullptr, nullptr, 0, nullptr, 0, nullptr),
              kCCSuccess);
}

} // namespace
} // namespace platform
