#include "CommonCrypto/CommonHMAC.h"

#include "CommonCrypto/CommonDigest.h"
#include "Tests/Support/VectorFile.h"

#include <gtest/gtest.h>
#include <random>

namespace platform {
namespace {

using testing_support::readVectors;
using testing_support::VectorRow;

constexpr std::size_t macSize = 20;

Data hmac(const Data& key, const Data& data) {
    Data mac(macSize);
    CCHmac(kCCHmacAlgSHA1, key.data(), key.size(), data.data(), data.size(), mac.data());
    return mac;
}

TEST(CommonHMAC, MatchesThePublishedVectors) {
    for (const VectorRow& row : readVectors("crypto/hmac-sha1.txt"))
        EXPECT_EQ(hmac(row.bytes("Key"), row.bytes("Data")), row.bytes("MAC")) << row;
}

Data digestOf(const Data& data) {
    CC_SHA1_CTX context;
    Data digest(CC_SHA1_DIGEST_LENGTH);
    EXPECT_EQ(CC_SHA1_Init(&context), 1);
    EXPECT_EQ(CC_SHA1_Update(&context, data.data(), static_cast<CC_LONG>(data.size())), 1);
    EXPECT_EQ(CC_SHA1_Final(digest.data(), &context), 1);
    return digest;
}

// RFC 2104's definition on the crypto library's SHA-1.
Data hmacByDefinition(Data key, const Data& data) {
    if (key.size() > 64)
        key = digestOf(key);
    key.resize(64);
    Data inner;
    Data outer;
    for (const std::uint8_t byte : key) {
        inner.push_back(byte ^ 0x36);
        outer.push_back(byte ^ 0x5C);
    }
    inner.insert(inner.end(), data.begin(), data.end());
    const Data digest = digestOf(inner);
    outer.insert(outer.end(), digest.begin(), digest.end());
    return digestOf(outer);
}

Data randomBytes(std::mt19937& random, std::size_t length) {
    Data data(length);
    for (std::uint8_t& byte : data)
        byte = static_cast<std::uint8_t>(random());
    return data;
}

TEST(CommonHMAC, AgreesWithItsDefinitionForEveryLength) {
    std::mt19937 random(4);
    const Data key = randomBytes(random, 20);
    for (std::size_t length = 0; length <= 300; ++length) {
        const Data bytes = randomBytes(random, length);
        ASSERT_EQ(hmac(key, bytes), hmacByDefinition(key, bytes)) << "data of " << length;
        ASSERT_EQ(hmac(bytes, key), hmacByDefinition(bytes, key)) << "key of " << length;
    }
}

TEST(CommonHMAC, StreamsInAnyPiecesAndAgainUnderTheSameKey) {
    std::mt19937 random(5);
    for (int round = 0; round < 200; ++round) {
        const Data key = randomBytes(random, random() % 130);
        CCHmacContext context;
        CCHmacInit(&context, kCCHmacAlgSHA1, key.data(), key.size());
        for (int again = 0; again < 4; ++again) {
            const Data data = randomBytes(random, random() % 500);
            Data mac(macSize);
            for (std::size_t at = 0; at < data.size();) {
                const std::size_t piece = std::min<std::size_t>(random() % 150, data.size() - at);
                CCHmacUpdate(&context, data.data() + at, piece);
                at += piece;
            }
            CCHmacFinal(&context, mac.data());
            ASSERT_EQ(mac, hmacByDefinition(key, data));
        }
    }
}

TEST(CommonHMAC, ChainsMACsSideBySide) {
    const Data key(20, 1);
    CCHmacContext context;
    CCHmacInit(&context, kCCHmacAlgSHA1, key.data(), key.size());
    for (std::size_t count = 0; count <= sha1Lanes; ++count) {
        std::array<Sha1Words, sha1Lanes> macs{};
        std::array<Data, sha1Lanes> expected;
        for (std::size_t i = 0; i < macs.size(); ++i) {
            expected[i] = Data(macSize, static_cast<std::uint8_t>(i + 1));
            macs[i] = readSha1Digest(expected[i].data());
        }
        for (int link = 0; link < 3; ++link) {
            CCHmacOfMacs(&context, macs.data(), count);
            for (std::size_t i = 0; i < macs.size(); ++i) {
                if (i < count)
                    expected[i] = hmacByDefinition(key, expected[i]);
                Data mac(macSize);
                writeSha1Digest(macs[i], mac.data());
                EXPECT_EQ(mac, expected[i]) << i << " of " << count;
            }
        }
    }
}

TEST(CommonHMAC, ContextsAreWipedWhenTheyEnd) {
    alignas(CCHmacContext) std::array<std::uint8_t, sizeof(CCHmacContext)> memory{};
    auto* context = new (memory.data()) CCHmacContext;
    CCHmacInit(context, kCCHmacAlgSHA1, "key", 3);
    CCHmacUpdate(context, "data", 4);
    EXPECT_NE(std::count(memory.begin(), memory.end(), 0), static_cast<std::ptrdiff_t>(memory.size()));
    context->~CCHmacContext();
    EXPECT_EQ(std::count(memory.begin(), memory.end(), 0), static_cast<std::ptrdiff_t>(memory.size()));
}

Sha1Words randomWords(std::mt19937& random) {
    Sha1Words words{};
    for (std::uint32_t& word : words)
        word = static_cast<std::uint32_t>(random());
    return words;
}

// Both ways to the answer, on a machine that has both.
TEST(Sha1, WaysAgree) {
    std::mt19937 random(6);
    for (int round = 0; round < 1000; ++round) {
        const std::size_t count = random() % 4;
        const Data blocks = randomBytes(random, count * sha1BlockSize + 1);
        Sha1Words portable = randomWords(random);
        Sha1Words best = portable;
        portableSha1().compress(portable, blocks.data() + 1, count); // not aligned
        sha1().compress(best, blocks.data() + 1, count);
        ASSERT_EQ(portable, best);

        const Sha1Words inner = randomWords(random);
        const Sha1Words outer = randomWords(random);
        std::array<Sha1Words, sha1Lanes> portableMacs{};
        for (Sha1Words& mac : portableMacs)
            mac = randomWords(random);
        auto bestMacs = portableMacs;
        const std::size_t lanes = random() % (sha1Lanes + 1);
        portableSha1().macOfDigests(inner, outer, portableMacs.data(), lanes);
        sha1().macOfDigests(inner, outer, bestMacs.data(), lanes);
        ASSERT_EQ(portableMacs, bestMacs) << lanes;
    }
}

TEST(Sha1, EachWayMatchesThePublishedExample) {
    Data block{'a', 'b', 'c', 0x80};
    block.resize(sha1BlockSize);
    block.back() = 24; // bits
    for (const Sha1Functions* functions : {&portableSha1(), &sha1()}) {
        Sha1Words state = sha1Start;
        functions->compress(state, block.data(), 1);
        Data digest(macSize);
        writeSha1Digest(state, digest.data());
        EXPECT_EQ(digest, testing_support::unhex("a9993e364706816aba3e25717850c26c9cd0d89d"));
        EXPECT_EQ(readSha1Digest(digest.data()), state);
    }
}

} // namespace
} // namespace platform
