#include "brimle/BRCrypto.h"

#include "Tests/Support/VectorFile.h"

#include <gtest/gtest.h>

namespace brimle {
namespace {

using testing_support::readVectors;
using testing_support::unhex;
using testing_support::VectorRow;

String asText(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}
String asText(const Data& ascii) {
    return {ascii.begin(), ascii.end()};
}

struct DigestOperations {
    const char* name;
    Data (*ofData)(DataView);
    Data (*ofText)(StringView);
    String (*hexOfData)(DataView);
    String (*hexOfText)(StringView);
    std::size_t size;
};

// SHA-1 has no hexadecimal form of its own.
const DigestOperations operations[] = {
    {"MD5", br_MD5, br_MD5, br_MD5hex, br_MD5hex, 16},
    {"SHA1", br_SHA1, br_SHA1, nullptr, nullptr, 20},
    {"SHA256", br_SHA256, br_SHA256, br_SHA256hex, br_SHA256hex, 32},
    {"SHA512", br_SHA512, br_SHA512, br_SHA512hex, br_SHA512hex, 64},
};

TEST(BRCryptoDigests, MatchThePublishedVectors) {
    int checked = 0;
    for (const VectorRow& row : readVectors("crypto/digests.txt")) {
        const Data data = row.bytes("Data");
        for (const DigestOperations& digest : operations) {
            if (!row.has(digest.name))
                continue;
            ++checked;
            const Data expected = unhex(row.text(digest.name));
            EXPECT_EQ(expected.size(), digest.size) << digest.name << row;
            EXPECT_EQ(digest.ofData(data), expected) << digest.name << row;
            EXPECT_EQ(digest.ofText(asText(data)), expected) << digest.name << row;
            if (digest.hexOfData) {
                EXPECT_EQ(digest.hexOfData(data), asText(row.text(digest.name))) << digest.name << row;
                EXPECT_EQ(digest.hexOfText(asText(data)), asText(row.text(digest.name))) << digest.name << row;
            }
        }
    }
    EXPECT_GE(checked, 19);
}

TEST(BRCryptoDigests, StringsEndAtTheirFirstZeroExceptForSHA512) {
    const String text{u'a', u'\0', u'b'};
    const Data one{0x61};
    const Data all{0x61, 0x00, 0x62};
    EXPECT_EQ(br_MD5(text), br_MD5(one));
    EXPECT_EQ(br_SHA1(text), br_SHA1(one));
    EXPECT_EQ(br_SHA256(text), br_SHA256(one));
    EXPECT_EQ(br_SHA512(text), br_SHA512(all));
    EXPECT_NE(br_SHA512(text), br_SHA512(one));
    EXPECT_EQ(br_MD5hex(text), br_MD5hex(one));
    EXPECT_EQ(br_SHA256hex(text), br_SHA256hex(one));
    EXPECT_EQ(br_SHA512hex(text), br_SHA512hex(all));
    EXPECT_EQ(br_MD5(StringView(u"\0x", 2)), br_MD5(Data{}));
}

TEST(BRCryptoDigests, BuffersAreNeverCut) {
    const Data all{0x61, 0x00, 0x62};
    const Data one{0x61};
    for (const DigestOperations& digest : operations)
        EXPECT_NE(digest.ofData(all), digest.ofData(one)) << digest.name;
}

TEST(BRCryptoDigests, StringsAreHashedAsUTF8WithoutNormalisation) {
    struct Case {
        const char16_t* text;
        Data utf8;
    };
    const Case rows[] = {
        {u"\u00E9", {0xC3, 0xA9}},
        {u"e\u0301", {0x65, 0xCC, 0x81}},
        {u"\u20AC", {0xE2, 0x82, 0xAC}},
        {u"\U0001F511", {0xF0, 0x9F, 0x94, 0x91}},
        {u"", {}},
    };
    for (const Case& row : rows)
        for (const DigestOperations& digest : operations)
            EXPECT_EQ(digest.ofText(row.text), digest.ofData(row.utf8))
                << digest.name << " of " << platform::lossyUTF8String(row.text);
    const String loneSurrogate{u'a', 0xD83D};
    const Data replaced{0x61, 0xEF, 0xBF, 0xBD};
    for (const DigestOperations& digest : operations)
        EXPECT_EQ(digest.ofText(loneSurrogate), digest.ofData(replaced)) << digest.name;
}

} // namespace
} // namespace brimle
