#include "brimle/NSString+Brimle.h"

#include "TextReference.h"

#include "Foundation/NSBundle.h"
#include "Tests/Support/RandomText.h"
#include "Tests/Support/Translations.h"

#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <thread>

namespace brimle {
namespace {

using testing_support::RandomText;
using testing_support::shown;

TEST(NSStringBrimle, MakesCharacters) {
    const std::pair<std::uint32_t, String> rows[] = {
        {0, String(1, u'\0')},
        {u'A', u"A"},
        {65535, String(1, char16_t(0xFFFF))},
        {65536, {0xD800, 0xDC00}},
        {128512, {0xD83D, 0xDE00}},
        {0x10FFFF, {0xDBFF, 0xDFFF}},
        // No check of the range.
        {0xD800, String(1, char16_t(0xD800))},
        {0x110000, {0xD800, 0xDC00}},
        {0xFFFFFFFF, {0xDBBF, 0xDFFF}},
    };
    for (const auto& [character, expected] : rows)
        EXPECT_EQ(br_stringWithCharacter(character), expected) << character;
}

TEST(NSStringBrimle, KeepsOneEllipsis) {
    EXPECT_EQ(br_horizontalEllipsisString(), u"\u2026");
    std::vector<const String*> seen(8);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (const String*& slot : seen)
        threads.emplace_back([&slot] { slot = &br_horizontalEllipsisString(); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::set<const String*>(seen.begin(), seen.end()).size(), 1u);
}

TEST(NSStringBrimle, SmallOnes) {
    EXPECT_TRUE(br_isEmpty(std::nullopt));
    EXPECT_TRUE(br_isEmpty(u""));
    EXPECT_FALSE(br_isEmpty(u" "));
    EXPECT_FALSE(br_isEmpty(StringView(u"\0", 1)));
    EXPECT_EQ(br_firstLetter(u""), u" ");
    EXPECT_EQ(br_firstLetter(u"abc"), u"a");
    EXPECT_EQ(br_firstLetter(u"\U0001F600"), String(1, char16_t(0xD83D)));
    for (const StringView text : {u"", u"secret", u"a much longer secret"})
        EXPECT_EQ(br_asBullets(text), u"\u25CF\u25CF\u25CF\u25CF\u25CF\u25CF\u25CF\u25CF\u25CF\u25CF");
    EXPECT_EQ(concealedString(), u"\u2022\u2022\u2022\u2022\u2022\u2022\u2022\u2022\u2022\u2022");
}

struct RangeRow {
    NSRange range;
    std::optional<StringView> replacement;
    StringView expected;
};

TEST(NSStringBrimle, ReplacesRanges) {
    constexpr std::size_t huge = std::numeric_limits<std::size_t>::max();
    const RangeRow rows[] = {
        {{1, 2}, u"XY", u"aXYd"},      {{0, 4}, u"", u""},
        {{4, 0}, u"!", u"abcd!"},      {{2, 2}, u"!", u"ab!"},
        {{0, 0}, u"!", u"!abcd"},      {{2, 3}, u"!", u"abcd"},
        {{5, 0}, u"!", u"abcd"},       {{huge, 2}, u"!", u"abcd"},
        {{2, huge}, u"!", u"abcd"},    {{1, 1}, std::nullopt, u"a(null)cd"},
        {{1, 1}, u"%@%d", u"a%@%dcd"},
    };
    for (const RangeRow& row : rows)
        EXPECT_EQ(brlStringByReplacingCharactersInRange_withString(u"abcd", row.range, row.replacement), row.expected)
            << row.range.location << "+" << row.range.length;
    const String odd{0xD800, u'\0', u'x'};
    EXPECT_EQ(brlStringByReplacingCharactersInRange_withString(odd, {2, 1}, u"y"), (String{0xD800, u'\0', u'y'}));
}

struct MatchRow {
    StringView text;
    StringView pattern;
    bool matches;
};

TEST(NSStringBrimle, MatchesRegularExpressions) {
    const String lone(1, char16_t(0xD800));
    const MatchRow rows[] = {
        {u"hello world", u"o w", true},
        {u"hello", u"^h.*o$", true},
        {u"hello", u"^ell", false},
        {u"Hello", u"hello", false},
        {u"aab", u"^a{2}(b|c)$", true},
        {u"a\nb", u"a.b", true},
        {u"a\nb", u"^b", false}, // a line feed is a character like any other
        {u"a\nb", u"a$", false},
        {u"abc", u"(", false},
        {u"abc", u"[", false},
        {u"abc", u"a{2,1}", false},
        {u"abc", u"[[:alpha:]]+", true},
        {u"caf\u00E9", u"\u00E9$", true},
        {u"", u"^$", true},
        {u"", u"a", false},
        {StringView(u"ab\0cd", 5), u"c", false},
        {StringView(u"ab\0cd", 5), u"b$", true},
        {u"abc", StringView(u"b\0(", 3), true},
        {lone, u".", false},
        {u"abc", lone, false},
    };
    for (const MatchRow& row : rows)
        EXPECT_EQ(br_matchesRegex(row.text, row.pattern), row.matches)
            << shown(row.text) << " ~ " << shown(row.pattern);
}

TEST(NSStringBrimle, Trims) {
    const std::pair<StringView, StringView> rows[] = {
        {u"", u""},
        {u"  a b\t\n", u"a b"},
        {u"\u00A0\u2003\u3000\u0085\u2028\u2029\v\fx\u1680\u202F\u205F", u"x"},
        {u" \r\n ", u""},
        {u"\u200Bx\uFEFF", u"\u200Bx\uFEFF"}, // without width, not white
        {u"x", u"x"},
        {u" \U0001F600 ", u"\U0001F600"},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(br_trim(text), expected) << shown(text);
    EXPECT_EQ(br_trim(StringView(u" \0 ", 3)), StringView(u"\0", 1));
}

TEST(NSStringBrimle, FindsCharactersOfASet) {
    const auto set = NSCharacterSet::characterSetWithCharactersInString(u"xy\U0001F600");
    EXPECT_TRUE(br_containsCharacterInSet(u"abcx", set));
    EXPECT_TRUE(br_containsCharacterInSet(u"a\U0001F600", set));
    EXPECT_FALSE(br_containsCharacterInSet(u"abc\U0001F601", set));
    EXPECT_FALSE(br_containsCharacterInSet(u"", set));
    EXPECT_FALSE(br_containsCharacterInSet(String(1, char16_t(0xD83D)), set));
    EXPECT_TRUE(br_containsCharacterInSet(u"a b", NSCharacterSet::whitespaceAndNewlineCharacterSet()));
}

struct ContainsRow {
    StringView text;
    std::optional<StringView> wanted;
    platform::NSStringCompareOptions options;
    bool contains;
};

TEST(NSStringBrimle, FindsTexts) {
    using namespace platform;
    const ContainsRow rows[] = {
        {u"hello", u"ell", 0, true},
        {u"hello", u"ELL", 0, false},
        {u"hello", u"", 0, false},
        {u"", u"", 0, false},
        {u"", u"a", 0, false},
        {u"hello", std::nullopt, 0, false},
        {u"hello", u"ELL", NSCaseInsensitiveSearch, true},
        {u"\u00C9t\u00E9", u"\u00E9T\u00C9", NSCaseInsensitiveSearch, true},
        {u"e\u0301", u"\u00E9", 0, true},
        {u"e\u0301", u"\u00E9", NSLiteralSearch, false},
        {u"e\u0301", u"e", 0, false},
        {u"e\u0301", u"e", NSLiteralSearch, true},
        {u"hello", u"lo", NSAnchoredSearch, false},
        {u"hello", u"he", NSAnchoredSearch, true},
        {u"hello", u"lo", NSAnchoredSearch | NSBackwardsSearch, true},
        {u"r\u00E9sum\u00E9", u"resume", NSDiacriticInsensitiveSearch, true},
        {u"\uFF21\uFF22", u"AB", NSWidthInsensitiveSearch, true},
    };
    for (const ContainsRow& row : rows) {
        EXPECT_EQ(br_containsString_options(row.text, row.wanted, row.options), row.contains)
            << shown(row.text) << " " << shown(row.wanted.value_or(u"(null)")) << " " << row.options;
        if (row.options == 0) {
            EXPECT_EQ(br_containsString(row.text, row.wanted), row.contains);
        }
    }
}

TEST(NSStringBrimle, CountsLines) {
    const std::pair<StringView, std::size_t> rows[] = {
        {u"", 0},        {u"a", 1},    {u"a\n", 1},    {u"a\nb", 2},     {u"\r\n", 1},
        {u"\n", 1},      {u"\n\r", 2}, {u"\r\r\n", 2}, {u"a\r\nb\r", 2}, {u"a\u0085b\u2028c\u2029", 3},
        {u"a\vb\fc", 1}, {u"\n\n", 2}, {u"\n\na", 3},
    };
    for (const auto& [text, lines] : rows) {
        EXPECT_EQ(br_numberOfLines(text), lines) << shown(text);
        for (long limit = 0; limit < 5; ++limit)
            EXPECT_EQ(br_numberOfLinesLimitedTo(text, limit), std::min(lines, static_cast<std::size_t>(limit)));
        EXPECT_EQ(br_numberOfLinesLimitedTo(text, -1), lines);
        EXPECT_EQ(br_numberOfLinesLimitedTo(text, std::numeric_limits<long>::min()), lines);
    }
    RandomText random{u"a", u"\n", u"\r", u"\r\n", u"\u0085", u"\u2028", u"\u2029", u"\v", u"\xD800"};
    for (int i = 0; i < 20000; ++i) {
        const String text = random.next(16);
        const std::size_t limit = random.below(12);
        ASSERT_EQ(br_numberOfLinesLimitedTo(text, static_cast<long>(limit)), reference::numberOfLines(text, limit))
            << shown(text);
    }
}

TEST(NSStringBrimle, MakesIdentifiers) {
    std::set<String> seen;
    for (int i = 0; i < 1000; ++i) {
        const String identifier = br_uuid();
        ASSERT_EQ(identifier.size(), 32u);
        ASSERT_EQ(identifier.find_first_not_of(u"0123456789ABCDEF"), String::npos);
        EXPECT_EQ(identifier[12], u'4'); // random, not of a clock
        seen.insert(identifier);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST(NSStringBrimle, DescribesSizes) {
    const std::pair<std::uint64_t, StringView> rows[] = {
        {0, u"0 bytes"},
        {1, u"1 bytes"},
        {1024, u"1024 bytes"},
        {1025, u"1 KB"},
        {2047, u"1 KB"},
        {2048, u"2 KB"},
        {1048576, u"1024 KB"},
        {1048577, u"1.0 MB"},
        {1572864, u"1.5 MB"},
        {1073741824, u"1024.0 MB"},
        {1073741825, u"1.0 GB"},
        {1125899906842624, u"1048576.0 GB"},
        {std::numeric_limits<std::uint64_t>::max(), u"17179869184.0 GB"},
    };
    for (const auto& [bytes, expected] : rows)
        EXPECT_EQ(br_humanReadableSizeStringForBytes(bytes), expected) << bytes;
}

// The format is what is translated, before it is filled: one translation serves every number.
TEST(NSStringBrimle, DescribesSizesInTheApplicationsLanguage) {
    const testing_support::Translations translations({{"", "Content-Type: text/plain; charset=UTF-8\n"},
                                                      {"%llu bytes", "%llu \xD0\xB1"},
                                                      {"%llu KB", "%llu kB"},
                                                      {"%.1f MB", "MB: %.1f"},
                                                      {"%.1f GB", "%.1f%s"},
                                                      {"1 KB", "not this one"}});
    platform::NSBundle::mainBundle().setLocalizations("app", translations.folder());
    EXPECT_EQ(br_humanReadableSizeStringForBytes(7), u"7 \u0431");
    EXPECT_EQ(br_humanReadableSizeStringForBytes(1025), u"1 kB");
    EXPECT_EQ(br_humanReadableSizeStringForBytes(1572864), u"MB: 1.5");
    EXPECT_EQ(br_humanReadableSizeStringForBytes(1073741825), u"1.0 GB"); // a translation that would misread
    platform::NSBundle::mainBundle().setLocalizations("", "");
    EXPECT_EQ(br_humanReadableSizeStringForBytes(1025), u"1 KB");
}

} // namespace
} // namespace brimle
