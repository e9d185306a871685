#include "brimle/BRCrypto.h"

#include "Tests/Support/VectorFile.h"

#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/resource.h>

namespace brimle {
namespace {

using testing_support::readVectors;
using testing_support::unhex;
using testing_support::VectorRow;

String asText(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}
Data bytesOf(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

TEST(BRCryptoBase64, MatchesThePublishedVectors) {
    for (const VectorRow& row : readVectors("crypto/base64.txt")) {
        EXPECT_EQ(br_base64encode(row.bytes("Data")), asText(row.text("Text"))) << row;
        EXPECT_EQ(br_base64decode(asText(row.text("Text"))), row.bytes("Data")) << row;
    }
}

struct DecodeCase {
    const char16_t* text;
    const char* decoded;
};

TEST(BRCryptoBase64, DecodesUpToTheFirstForeignCharacter) {
    const DecodeCase rows[] = {
        {u"QUJD", "ABC"},
        {u"QUI=", "AB"},
        {u"QUI", "AB"},
        {u"QQ==", "A"},
        {u"QQ=", "A"},
        {u"QQ", "A"},
        {u"QU JD", "A"},
        {u"QUJD REVG", "ABC"},
        {u"QUJD\tREVG", "ABC"},
        {u"QUJD\fREVG", "ABC"},
        {u"QUJD\vREVG", "ABC"},
        {u"QUJD\u0085REVG", "ABC"},
        {u"QUJD\u2028REVG", "ABC"},
        {u"QUJD\u00A0REVG", "ABC"},
        // Line breaks are skipped wherever they stand.
        {u"QUJD\r\nREVG", "ABCDEF"},
        {u"\n\rQ\nU\rJ\r\n\r\nD\nREVG\r\n", "ABCDEF"},
        {u"Q\nQ\n=\n=\n", "A"},
        {u"\n", ""},
        {u"\r\n\r\n", ""},
        // Nothing behind the first "=" counts.
        {u"QUI=QUJD", "AB"},
        {u"QQ==QUJD", "A"},
        {u"=QUJD", ""},
        {u"====", ""},
        // The URL-safe alphabet is foreign.
        {u"QUJD-EVG", "ABC"},
        {u"QUJD_EVG", "ABC"},
        // A lone character stands for nothing; further bits of a partial group are not checked.
        {u"", ""},
        {u"Q", ""},
        {u"QUJDR", "ABC"},
        {u"QUJDRE", "ABCD"},
        {u"QUJDREV", "ABCDE"},
        {u"QUJDREVG", "ABCDEF"},
        {u"QR", "A"},
        {u"QUK", "AB"},
        {u"*QUJD", ""},
        // Beyond ASCII: an alphabet character's number plus a multiple of 256 is not that character.
        {u"QUJD\u0141REVG", "ABC"},
        {u"QUJ\u4144", "AB"},
        {u"\uFF21QUJD", ""},
    };
    for (const DecodeCase& row : rows)
        EXPECT_EQ(br_base64decode(row.text), bytesOf(row.decoded)) << platform::lossyUTF8String(row.text);
    EXPECT_EQ(br_base64decode(StringView(u"QUJD\0REVG", 9)), bytesOf("ABC"));
    EXPECT_EQ(br_base64decode(String{u'Q', u'U', u'J', u'D', 0xD851, u'U'}), bytesOf("ABC"));
}

TEST(BRCryptoBase64, EveryUnitOutsideTheAlphabetEndsTheInput) {
    const StringView alphabet = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
        const auto character = static_cast<char16_t>(unit);
        // Behind 40 characters, so that every way through the decoder meets it.
        const String text = String(40, u'A') + character + String(43, u'A');
        const bool inAlphabet = alphabet.find(character) != StringView::npos;
        const bool lineBreak = character == u'\n' || character == u'\r';
        const std::size_t expected = inAlphabet ? 63 : lineBreak ? 62 : 30;
        ASSERT_EQ(br_base64decode(text).size(), expected) << unit;
        if (inAlphabet) {
            ASSERT_EQ(br_base64decode(text)[30], alphabet.find(character) << 2) << unit;
        }
    }
}

TEST(BRCryptoBase64, RoundTripsEveryLengthOnOneLine) {
    std::mt19937 random(1);
    for (std::size_t length = 0; length <= 600; ++length) {
        Data data(length);
        for (std::uint8_t& byte : data)
            byte = static_cast<std::uint8_t>(random());
        const String text = br_base64encode(data);
        ASSERT_EQ(text.size(), (length + 2) / 3 * 4);
        ASSERT_EQ(text.find_first_of(StringView(u"\r\n\0", 3)), String::npos);
        ASSERT_EQ(br_base64decode(text), data) << length;
        ASSERT_EQ(br_base64decode(text.substr(0, text.find(u'='))), data) << "unpadded, " << length;
    }
}

// Line breaks put in anywhere change nothing; cutting the text anywhere gives a beginning of the bytes.
TEST(BRCryptoBase64, SurvivesRandomPiecesAndCuts) {
    std::mt19937 random(2);
    for (int round = 0; round < 300; ++round) {
        Data data(random() % 300);
        for (std::uint8_t& byte : data)
            byte = static_cast<std::uint8_t>(random());
        const String text = br_base64encode(data);
        String broken;
        for (const char16_t unit : text) {
            while (random() % 8 == 0)
                broken += random() % 2 ? u"\n" : u"\r";
            broken += unit;
        }
        ASSERT_EQ(br_base64decode(broken), data);
        const std::size_t cut = random() % (text.size() + 1);
        const Data part = br_base64decode(text.substr(0, cut));
        ASSERT_EQ(part.size(), std::min(data.size(), cut * 3 / 4));
        ASSERT_TRUE(std::equal(part.begin(), part.end(), data.begin()));
    }
}

struct HexCase {
    const char* bytes;
    const char16_t* hex;
    const char16_t* HEX;
    const char16_t* HeX;
};

TEST(BRCryptoHexadecimal, ThreeForms) {
    const HexCase rows[] = {
        {"", u"", u"", u""},
        {"00ff7a", u"00ff7a", u"00FF7A", u"00Ff7A"},
        {"abcd12ef", u"abcd12ef", u"ABCD12EF", u"AbCd12Ef"},
        {"0123456789", u"0123456789", u"0123456789", u"0123456789"},
        {"a1b2c3", u"a1b2c3", u"A1B2C3", u"A1b2C3"},
        {"a0", u"a0", u"A0", u"A0"},
        {"0a", u"0a", u"0A", u"0A"},
    };
    for (const HexCase& row : rows) {
        const Data data = unhex(row.bytes);
        EXPECT_EQ(br_hex(data), row.hex) << row.bytes;
        EXPECT_EQ(br_HEX(data), row.HEX) << row.bytes;
        EXPECT_EQ(br_HeX(data), row.HeX) << row.bytes;
    }
}

TEST(BRCryptoHexadecimal, AgreesWithTheFormatForEveryByte) {
    Data data(256);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<std::uint8_t>(i);
    EXPECT_EQ(br_hex(data), _br_stringWithFormat(data, u"%02x"));
    EXPECT_EQ(br_HEX(data), _br_stringWithFormat(data, u"%02X"));
    EXPECT_EQ(unhex(*platform::UTF8String(br_hex(data))), data);
}

struct FormatCase {
    const char16_t* format;
    const char16_t* expected;
};

TEST(BRCryptoHexadecimal, AppliesAnyFormatToUnsignedValues) {
    const Data data{0, 65, 128, 255};
    const FormatCase rows[] = {
        {u"%d,", u"0,65,128,255,"},
        {u"%u ", u"0 65 128 255 "},
        {u"%02x", u"004180ff"},
        {u"%02X", u"004180FF"},
        {u"%3d", u"  0 65128255"},
        {u"\\x%02x", u"\\x00\\x41\\x80\\xff"},
        {u"%%", u"%%%%"},
        {u"-", u"----"},
        {u"", u""},
        {u"%o ", u"0 101 200 377 "},
    };
    for (const FormatCase& row : rows)
        EXPECT_EQ(_br_stringWithFormat(data, row.format), row.expected) << platform::lossyUTF8String(row.format);
    EXPECT_EQ(_br_stringWithFormat(Data{}, u"%02x"), u"");
}

// The length is read as a signed 32-bit number; nothing of these views beyond that is ever touched.
TEST(BRCryptoHexadecimal, LengthsAreSigned32) {
    const std::uint8_t bytes[] = {0xAB, 0xCD};
    struct Case {
        std::size_t length;
        const char16_t* expected;
    };
    const Case rows[] = {{0x80000000u, u""}, {0xFFFFFFFFu, u""}, {0x100000000u, u""}, {0x100000002u, u"abcd"}};
    for (const Case& row : rows) {
        EXPECT_EQ(br_hex(DataView(bytes, row.length)), row.expected) << row.length;
        EXPECT_EQ(br_HeX(DataView(bytes, row.length)).size(), StringView(row.expected).size()) << row.length;
        EXPECT_EQ(_br_stringWithFormat(DataView(bytes, row.length), u"%02x"), row.expected) << row.length;
    }
}

TEST(BRCryptoRandom, DeliversTheLengthAndDiffers) {
    EXPECT_EQ(br_randomData(0).size(), 0u);
    EXPECT_EQ(br_randomData(-1).size(), 0u);
    for (const std::int32_t length : {1, 8, 16, 1000, 100000})
        EXPECT_EQ(br_randomData(length).size(), static_cast<std::size_t>(length));
    const Data first = br_randomData(8);
    EXPECT_NE(first, br_randomData(8));
    EXPECT_NE(first, Data(8));
    // 64 KiB of random bytes hold every value (missing one: 1 in 10^109).
    std::vector<bool> seen(256);
    for (const std::uint8_t byte : br_randomData(65536))
        seen[byte] = true;
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 256);
}

TEST(BRCryptoRandom, IsZeroWhenTheDeviceCannotBeOpened) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const Data data = br_randomData(8);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(data, Data(8));
}

struct DeliveryCase {
    const char* what;
    ssize_t delivered; // by the first read; -1: it fails
    Data expected;
};

TEST(BRCryptoRandom, TakesWhatOneReadDelivers) {
    const DeliveryCase rows[] = {
        {"all", 8, Data(8, 0xA5)},
        {"less", 3, {0xA5, 0xA5, 0xA5, 0, 0, 0, 0, 0}},
        {"the end at once", 0, Data(8)},
        {"an error", -1, Data(8)},
    };
    for (const DeliveryCase& row : rows) {
        int reads = 0;
        RandomDevice device = systemRandomDevice();
        device.read = [&](int descriptor, void* buffer, std::size_t length) -> ssize_t {
            EXPECT_GE(descriptor, 0);
            EXPECT_EQ(length, 8u);
            if (++reads > 1 || row.delivered < 0)
                return -1;
            std::memset(buffer, 0xA5, static_cast<std::size_t>(row.delivered));
            return row.delivered;
        };
        EXPECT_EQ(br_randomData(8, device), row.expected) << row.what;
        EXPECT_EQ(reads, 1) << row.what;
    }
}

TEST(BRCryptoRandom, DoesNotReadFromADeviceThatCannotBeOpenedAndClosesTheOther) {
    const RandomDevice none{[] { return -1; },
                            [](int, void*, std::size_t) -> ssize_t {
                                ADD_FAILURE() << "nothing was opened";
                                return -1;
                            }};
    EXPECT_EQ(br_randomData(5, none), Data(5));
    int opened = -1;
    RandomDevice watched = systemRandomDevice();
    watched.open = [&opened] { return opened = systemRandomDevice().open(); };
    EXPECT_NE(br_randomData(16, watched), Data(16));
    EXPECT_EQ(fcntl(opened, F_GETFD), -1) << "left open";
}

} // namespace
} // namespace brimle
