#include "CommonCrypto/CommonDigest.h"

#include "Tests/Support/VectorFile.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <thread>

namespace platform {
namespace {

using testing_support::readVectors;
using testing_support::VectorRow;

template <class Context, std::size_t length, int (*initialise)(Context*), int (*update)(Context*, const void*, CC_LONG),
          int (*finish)(std::uint8_t*, Context*)>
struct Trio {
    // The digest of `data`, handed over in pieces that end at `cuts` (ascending).
    static Data inPieces(const Data& data, const std::vector<std::size_t>& cuts) {
        Context context;
        EXPECT_EQ(initialise(&context), 1);
        std::size_t from = 0;
        for (const std::size_t to : cuts) {
            EXPECT_EQ(update(&context, data.data() + from, static_cast<CC_LONG>(to - from)), 1);
            from = to;
        }
        EXPECT_EQ(update(&context, data.data() + from, static_cast<CC_LONG>(data.size() - from)), 1);
        Data digest(length);
        EXPECT_EQ(finish(digest.data(), &context), 1);
        return digest;
    }

    static void checkTheContextsLife() {
        const Data abc{'a', 'b', 'c'};
        const Data expected = inPieces(abc, {});
        Data digest(length);
        Context unused;
        EXPECT_EQ(update(&unused, abc.data(), 3), 0);
        EXPECT_EQ(finish(digest.data(), &unused), 0);
        EXPECT_EQ(digest, Data(length));
        Context context;
        for (int round = 0; round < 3; ++round) {
            EXPECT_EQ(initialise(&context), 1);
            EXPECT_EQ(update(&context, "left over", 9), 1);
            EXPECT_EQ(initialise(&context), 1); // starts over
            EXPECT_EQ(update(&context, abc.data(), 3), 1);
            EXPECT_EQ(finish(digest.data(), &context), 1);
            EXPECT_EQ(digest, expected);
            EXPECT_EQ(finish(digest.data(), &context), 0); // it has ended
        }
        // Several at once, ended in any order, some of them never finished.
        for (int round = 0; round < 3; ++round) {
            Context first;
            Context second;
            auto third = std::make_unique<Context>();
            for (Context* one : {&first, &second, third.get()}) {
                EXPECT_EQ(initialise(one), 1);
                EXPECT_EQ(update(one, abc.data(), 3), 1);
            }
            EXPECT_EQ(finish(digest.data(), &second), 1);
            EXPECT_EQ(digest, expected);
            EXPECT_EQ(finish(digest.data(), &first), 1);
            EXPECT_EQ(digest, expected);
        }
    }
};

using MD5 = Trio<CC_MD5_CTX, CC_MD5_DIGEST_LENGTH, CC_MD5_Init, CC_MD5_Update, CC_MD5_Final>;
using SHA1 = Trio<CC_SHA1_CTX, CC_SHA1_DIGEST_LENGTH, CC_SHA1_Init, CC_SHA1_Update, CC_SHA1_Final>;
using SHA256 = Trio<CC_SHA256_CTX, CC_SHA256_DIGEST_LENGTH, CC_SHA256_Init, CC_SHA256_Update, CC_SHA256_Final>;
using SHA512 = Trio<CC_SHA512_CTX, CC_SHA512_DIGEST_LENGTH, CC_SHA512_Init, CC_SHA512_Update, CC_SHA512_Final>;

template <std::size_t length, int (*digestOf)(const void*, CC_LONG, std::uint8_t*)>
Data atOnce(const Data& data) {
    Data digest(length);
    EXPECT_EQ(digestOf(data.data(), static_cast<CC_LONG>(data.size()), digest.data()), 1);
    return digest;
}

struct NamedTrio {
    const char* name;
    Data (*atOnce)(const Data&);
    Data (*inPieces)(const Data&, const std::vector<std::size_t>&);
};
const NamedTrio trios[] = {{"MD5", atOnce<CC_MD5_DIGEST_LENGTH, CC_MD5>, MD5::inPieces},
                           {"SHA1", atOnce<CC_SHA1_DIGEST_LENGTH, CC_SHA1>, SHA1::inPieces},
                           {"SHA256", atOnce<CC_SHA256_DIGEST_LENGTH, CC_SHA256>, SHA256::inPieces},
                           {"SHA512", atOnce<CC_SHA512_DIGEST_LENGTH, CC_SHA512>, SHA512::inPieces}};

TEST(CommonDigest, MatchesThePublishedVectorsInAnyPieces) {
    std::mt19937 random(3);
    for (const VectorRow& row : readVectors("crypto/digests.txt")) {
        const Data data = row.bytes("Data");
        for (const NamedTrio& trio : trios) {
            if (!row.has(trio.name))
                continue;
            std::vector<std::size_t> cuts(7);
            for (std::size_t& cut : cuts)
                cut = random() % (data.size() + 1);
            std::sort(cuts.begin(), cuts.end());
            EXPECT_EQ(trio.atOnce(data), row.bytes(trio.name)) << trio.name << row;
            EXPECT_EQ(trio.inPieces(data, {}), row.bytes(trio.name)) << trio.name << row;
            EXPECT_EQ(trio.inPieces(data, cuts), row.bytes(trio.name)) << trio.name << row;
        }
    }
}

TEST(CommonDigest, ContextsStartEndAndOverlap) {
    MD5::checkTheContextsLife();
    SHA1::checkTheContextsLife();
    SHA256::checkTheContextsLife();
    SHA512::checkTheContextsLife();
}

TEST(CommonDigest, ThreadsDoNotDisturbEachOther) {
    const Data data(10000, 0x2A);
    std::vector<Data> expected;
    for (const NamedTrio& trio : trios)
        expected.push_back(trio.inPieces(data, {}));
    std::vector<std::thread> threads;
    std::array<int, 4> agreements{};
    for (std::size_t t = 0; t < agreements.size(); ++t)
        threads.emplace_back([&, t] {
            for (std::size_t round = 0; round < 200; ++round)
                agreements[t] += trios[round % 4].inPieces(data, {round}) == expected[round % 4] ? 1 : 0;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(agreements, (std::array<int, 4>{200, 200, 200, 200}));
}

// A context that outlives what its thread keeps at hand.
thread_local CC_MD5_CTX lateContext;

TEST(CommonDigest, ContextsMayOutliveTheirThreadsOtherObjects) {
    std::thread([] {
        EXPECT_EQ(CC_MD5_Init(&lateContext),
                  1); // constructed before the shelf of spare contexts, so destroyed after it
        EXPECT_EQ(CC_MD5_Update(&lateContext, "x", 1), 1);
    }).join();
}

} // namespace
} // namespace platform
