#include "Foundation/NSString.h"

#include "Tests/Support/RandomText.h"

#include <array>
#include <gtest/gtest.h>
#include <unicode/ustring.h>

namespace platform {
namespace {

using testing_support::RandomText;

std::optional<String> decodedByICU(std::string_view bytes) {
    String out(bytes.size() + 1, u'\0');
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &length, bytes.data(),
                  static_cast<int32_t>(bytes.size()), &error);
    if (U_FAILURE(error))
        return std::nullopt;
    out.resize(static_cast<std::size_t>(length));
    return out;
}

std::optional<std::string> encodedByICU(StringView text) {
    std::string out(text.size() * 3 + 1, '\0');
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &length, text.data(), static_cast<int32_t>(text.size()),
                &error);
    if (U_FAILURE(error))
        return std::nullopt;
    out.resize(static_cast<std::size_t>(length));
    return out;
}

std::string lossilyEncodedByICU(StringView text) {
    std::string out(text.size() * 3 + 1, '\0');
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
                       static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &error);
    out.resize(static_cast<std::size_t>(length));
    return out;
}

// Every start of a sequence, every second byte, at every place in a block.
TEST(NSStringUTF8, AgreesWithICUOnShortSequences) {
    constexpr std::array<int, 12> more = {-1, 0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xFF};
    for (unsigned lead = 0; lead < 256; ++lead)
        for (unsigned second = 0; second < 256; ++second)
            for (const int third : more)
                for (const int fourth : more) {
                    std::string bytes{static_cast<char>(lead), static_cast<char>(second)};
                    for (const int byte : {third, fourth})
                        if (byte >= 0)
                            bytes.push_back(static_cast<char>(byte));
                    ASSERT_EQ(stringWithUTF8(bytes), decodedByICU(bytes)) << lead << " " << second;
                }
}

TEST(NSStringUTF8, AgreesWithICUOnRandomText) {
    RandomText random{
        u"a",      u"abcdefg",    u"abcdefghijklmnop", u"\u00E9",     u"\u20AC", u"\u4E2D\u6587", u"\uFFFF", u"\u07FF",
        u"\u0800", u"\U0001F600", u"\U00010000",       u"\U0010FFFF", u"\uD7FF", u"\uE000",       u"\x7F"};
    for (int i = 0; i < 20000; ++i) {
        const String text = random.next(i % 100 == 0 ? 3000 : 40);
        const auto bytes = UTF8String(text);
        ASSERT_EQ(bytes, encodedByICU(text));
        ASSERT_EQ(stringWithUTF8(*bytes), text);
        ASSERT_EQ(lossyUTF8String(text), *bytes);
        // One wrong byte, or an end too soon.
        std::string damaged = *bytes;
        if (damaged.empty())
            continue;
        damaged[random.below(damaged.size())] = static_cast<char>(random.below(256));
        ASSERT_EQ(stringWithUTF8(damaged), decodedByICU(damaged));
        damaged.resize(random.below(damaged.size()));
        ASSERT_EQ(stringWithUTF8(damaged), decodedByICU(damaged));
    }
}

TEST(NSStringUTF8, AgreesWithICUOnLoneSurrogates) {
    RandomText random{u"a", u"abcdefgh", u"\u00E9", u"\u20AC", u"\U0001F600", u"\xD83D", u"\xDE00", u"\xDBFF"};
    for (int i = 0; i < 20000; ++i) {
        const String text = random.next(i % 100 == 0 ? 3000 : 20);
        ASSERT_EQ(UTF8String(text), encodedByICU(text));
        ASSERT_EQ(lossyUTF8String(text), lossilyEncodedByICU(text));
    }
}

TEST(NSStringUTF8, AgreesWithICUOnEveryUnitAtEveryPlaceOfABlock) {
    for (const char16_t neighbour : {u'a', u'\u00E9', u'\u20AC'})
        for (unsigned unit = 0; unit <= 0xFFFF; ++unit)
            for (std::size_t place = 0; place < 18; ++place) {
                String text(33, neighbour);
                text[place] = static_cast<char16_t>(unit);
                ASSERT_EQ(lossyUTF8String(text), lossilyEncodedByICU(text)) << unit << " at " << place;
            }
}

// The longest forms from end to end, so that nothing is written beyond the room for a piece.
TEST(NSStringUTF8, LongestFormsFillWholePieces) {
    for (const StringView character : {u"\u20AC", u"\U0001F600", u"\uFFFD\U0010FFFF"})
        for (std::size_t before = 0; before < 18; ++before) {
            String text(before, u'x');
            while (text.size() < 5000)
                text += character;
            const auto bytes = UTF8String(text);
            ASSERT_EQ(bytes, encodedByICU(text)) << before;
            ASSERT_EQ(stringWithUTF8(*bytes), text) << before;
        }
}

// Characters that stand across the ends of the pieces in which text is converted.
TEST(NSStringUTF8, PiecesMeetWithoutASeam) {
    for (const StringView character : {u"a", u"\u00E9", u"\u20AC", u"\U0001F600"})
        for (std::size_t before = 2030; before < 2070; ++before) {
            String text(before, u'x');
            for (int i = 0; i < 40; ++i)
                text += character;
            text += String(3000, u'y');
            const auto bytes = UTF8String(text);
            ASSERT_EQ(bytes, encodedByICU(text)) << before;
            ASSERT_EQ(stringWithUTF8(*bytes), text) << before;
        }
}

TEST(NSStringUTF8, OtherEncodings) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes.push_back(static_cast<char>(byte));
    const String text = stringWithISOLatin1(bytes);
    for (std::size_t i = 0; i < 256; ++i)
        EXPECT_EQ(text[i], i);
    EXPECT_EQ(stringWithASCII(bytes), std::nullopt);
    EXPECT_EQ(stringWithASCII(std::string_view(bytes).substr(0, 128)), text.substr(0, 128));
    EXPECT_EQ(stringWithASCII(""), u"");
}

} // namespace
} // namespace platform
