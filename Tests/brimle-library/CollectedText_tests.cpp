#include "brimle/CollectedText.h"
#include "brimle/NSString+BrimleData.h"

#include <gtest/gtest.h>
#include <random>

namespace brimle {
namespace {

using platform::charactersAsBytes;

constexpr std::string_view bytesOfAllKinds[] = {
    "",
    "plain",
    "\xEF\xBB\xBF mark",
    std::string_view("a\0b", 3),
    "h\xC3\xA9",
    "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E",
    "\xF0\x9F\x98\x80 \xF0\x9F\x98\x80",
    "h\xE9",
    "\xC3\xA9\xFF",
    "\xFF\xC3\xA9",
    "\xC3",
    "\xE2\x82",
    "\xF0\x9F\x98",
    "ab\xF0",
    "\xE2\x82 \xE2\x82\xAC",
    "\xE2\x82\xE2\x82\xAC",
    "\xC3\xC3\xA9",
    "\xC0\x80",
    "\xED\xA0\x80",
    "\xED\xA0\x80\xED\xB0\x80",
    "\xE0\x80\x80",
    "\xF0\x80\x80\x80",
    "\xF4\x90\x80\x80",
    "\xF8\x88\x80\x80\x80",
    "\x80\x80\x80\x80",
    "\xC3\xA9\x80",
};

// Every way to cut a text into three pieces, some of them empty.
TEST(CollectedText, PiecesGiveWhatTheWholeGives) {
    for (const std::string_view bytes : bytesOfAllKinds)
        for (std::size_t first = 0; first <= bytes.size(); ++first)
            for (std::size_t second = first; second <= bytes.size(); ++second) {
                CollectedText collected;
                collected.append(charactersAsBytes(bytes.substr(0, first)));
                collected.append(charactersAsBytes(bytes.substr(first, second - first)));
                collected.append(charactersAsBytes(bytes.substr(second)));
                EXPECT_EQ(collected.empty(), bytes.empty());
                EXPECT_EQ(collected.text(), br_utf8stringWithData(charactersAsBytes(bytes)))
                    << testing::PrintToString(bytes) << " cut at " << first << " and " << second;
            }
}

TEST(CollectedText, SingleBytesGiveWhatTheWholeGives) {
    for (const std::string_view bytes : bytesOfAllKinds) {
        CollectedText collected;
        for (std::size_t i = 0; i < bytes.size(); ++i)
            collected.append(charactersAsBytes(bytes.substr(i, 1)));
        EXPECT_EQ(collected.text(), br_utf8stringWithData(charactersAsBytes(bytes))) << testing::PrintToString(bytes);
    }
}

std::string randomBytes(std::mt19937& random, bool wellFormed) {
    constexpr std::string_view characters[] = {"a", "\xC3\xA9", "\xE6\x97\xA5", "\xF0\x9F\x98\x80"};
    std::string bytes;
    for (std::size_t count = random() % 40; count > 0; --count)
        bytes += wellFormed || random() % 20 != 0 ? characters[random() % 4]
                                                  : std::string_view("\xE6\xF0\x97").substr(random() % 3, 1);
    return bytes;
}

TEST(CollectedText, RandomPiecesGiveWhatTheWholeGives) {
    std::mt19937 random(20);
    for (int round = 0; round < 20'000; ++round) {
        const std::string bytes = randomBytes(random, round % 2 == 0);
        CollectedText collected;
        for (std::string_view rest = bytes; !rest.empty();) {
            const std::size_t length = std::min<std::size_t>(1 + random() % 9, rest.size());
            collected.append(charactersAsBytes(rest.substr(0, length)));
            rest.remove_prefix(length);
        }
        ASSERT_EQ(collected.text(), br_utf8stringWithData(charactersAsBytes(bytes))) << testing::PrintToString(bytes);
    }
}

// Several blocks long, and pieces that are longer than what is decoded at once: characters lie across every boundary.
TEST(CollectedText, LongTextsGiveWhatTheWholeGives) {
    for (const std::string_view unit : {"x", "\xC3\xA9", "\xE6\x97\xA5", "\xF0\x9F\x98\x80", "\xE9", "ab\xE6\x97\xA5"})
        for (const std::string_view end : {"", ".", "\xE6", "\xE6\x97"}) {
            std::string bytes = ".";
            while (bytes.size() < 3 * TextBlocks::blockLength)
                bytes += unit;
            bytes += end;
            for (const std::size_t pieceLength : {bytes.size(), std::size_t{65'536}, std::size_t{100'001}}) {
                CollectedText collected;
                for (std::size_t i = 0; i < bytes.size(); i += pieceLength)
                    collected.append(charactersAsBytes(std::string_view(bytes).substr(i, pieceLength)));
                EXPECT_TRUE(collected.text() == br_utf8stringWithData(charactersAsBytes(bytes)))
                    << testing::PrintToString(unit) << testing::PrintToString(end) << " by " << pieceLength;
            }
        }
}

} // namespace
} // namespace brimle
