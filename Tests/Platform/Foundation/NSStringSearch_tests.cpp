#include "Foundation/NSStringSearch.h"

#include "Foundation/NSCharacterSet.h"
#include "Tests/Support/RandomText.h"

#include <gtest/gtest.h>
#include <unicode/unorm.h>
#include <unicode/unorm2.h>

namespace platform {
namespace {

using testing_support::RandomText;
using testing_support::shown;

struct Row {
    StringView text;
    StringView wanted;
    NSStringCompareOptions options;
    std::optional<NSRange> expected;
};

constexpr auto none = std::nullopt;

TEST(NSStringSearch, Finds) {
    const Row rows[] = {
        {u"abcabc", u"bc", 0, NSRange{1, 2}},
        {u"abcabc", u"bc", NSBackwardsSearch, NSRange{4, 2}},
        {u"aaa", u"aa", NSBackwardsSearch, NSRange{1, 2}},
        {u"abcabc", u"abc", NSAnchoredSearch, NSRange{0, 3}},
        {u"abcabc", u"bc", NSAnchoredSearch, none},
        {u"abcabc", u"bc", NSAnchoredSearch | NSBackwardsSearch, NSRange{4, 2}},
        {u"abcabc", u"ab", NSAnchoredSearch | NSBackwardsSearch, none},
        {u"abc", u"", 0, none},
        {u"", u"", 0, none},
        {u"ab", u"abc", 0, none},
        {u"aabaabaaab", u"aabaaab", 0, NSRange{3, 7}},
        // Composed characters are equal to decomposed ones and are not cut.
        {u"xe\u0301y", u"\u00E9", 0, NSRange{1, 2}},
        {u"x\u00E9y", u"e\u0301", 0, NSRange{1, 1}},
        {u"x\u00E9y", u"e", 0, none},
        {u"xe\u0301y", u"e", 0, none},
        {u"xe\u0301y", u"\u0301", 0, none},
        {u"xe\u0301y", u"e", NSLiteralSearch, NSRange{1, 1}},
        {u"xe\u0301y", u"\u00E9", NSLiteralSearch, none},
        {u"a\u0323\u0307", u"a\u0307\u0323", 0, NSRange{0, 3}}, // marks in either order
        {u"a\u0323\u0307", u"\u1EA1\u0307", 0, NSRange{0, 3}},
        {u"a\u0307\u0301", u"a\u0301\u0307", 0, none}, // of one class: the order counts
        {u"\u212A", u"K", 0, NSRange{0, 1}},
        {u"\uAC00", u"\u1100\u1161", 0, NSRange{0, 1}},
        {u"\uAC00", u"\u1100", 0, none},
        {u"\u1100\u1161", u"\u1100", 0, none},
        // Case.
        {u"HeLLo", u"hello", NSCaseInsensitiveSearch, NSRange{0, 5}},
        {u"STRASSE", u"stra\u00DFe", NSCaseInsensitiveSearch, NSRange{0, 7}},
        {u"stra\u00DFe", u"SS", NSCaseInsensitiveSearch, NSRange{4, 1}},
        {u"stra\u00DFe", u"S", NSCaseInsensitiveSearch | NSBackwardsSearch, NSRange{0, 1}},
        {u"\u03A3\u03C3\u03C2", u"\u03C3\u03C3\u03C3", NSCaseInsensitiveSearch, NSRange{0, 3}},
        {u"\u00C9", u"e\u0301", NSCaseInsensitiveSearch, NSRange{0, 1}},
        {u"\u00C9", u"e\u0301", NSCaseInsensitiveSearch | NSLiteralSearch, none},
        {u"\u00C9", u"\u00E9", NSCaseInsensitiveSearch | NSLiteralSearch, NSRange{0, 1}},
        {u"\U00010400", u"\U00010428", NSCaseInsensitiveSearch, NSRange{0, 2}},
        // Accents and widths.
        {u"Cr\u00E8me", u"creme", NSDiacriticInsensitiveSearch, none},
        {u"Cr\u00E8me", u"creme", NSDiacriticInsensitiveSearch | NSCaseInsensitiveSearch, NSRange{0, 5}},
        {u"Cre\u0300me!", u"Creme", NSDiacriticInsensitiveSearch, NSRange{0, 6}},
        {u"\u00E8", u"e", NSDiacriticInsensitiveSearch | NSLiteralSearch, NSRange{0, 1}},
        {u"ab", u"\u0301", NSDiacriticInsensitiveSearch, none},
        {u"\uFF41\uFF42", u"ab", NSWidthInsensitiveSearch, NSRange{0, 2}},
        {u"\uFF41\uFF42", u"ab", 0, none},
        {u"\u30AB\u3099", u"\uFF76\uFF9E", NSWidthInsensitiveSearch, NSRange{0, 2}},
        // Whatever is in it.
        {StringView(u"a\0b", 3), StringView(u"\0b", 2), 0, NSRange{1, 2}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(rangeOfString(row.text, row.wanted, row.options), row.expected)
            << shown(row.text) << " | " << shown(row.wanted) << " | " << row.options;
    const String lone{u'x', 0xD83D, u'y'};
    EXPECT_EQ(rangeOfString(lone, lone.substr(1)), (NSRange{1, 2}));
    EXPECT_EQ(rangeOfString(u"x\U0001F600", lone.substr(1, 1)), none); // half a pair is no character of it
}

// The definition itself: the first part between two boundaries that ICU calls equivalent.
std::optional<NSRange> foundByDefinition(StringView text, StringView wanted, bool ignoringCase) {
    UErrorCode error = U_ZERO_ERROR;
    const UNormalizer2* composed = unorm2_getNFCInstance(&error);
    const auto isBoundary = [&](std::size_t i) {
        if (i == 0 || i == text.size())
            return true;
        if ((text[i] & 0xFC00) == 0xDC00 && (text[i - 1] & 0xFC00) == 0xD800)
            return false;
        char32_t character = 0;
        (void)NSCharacterSet::nextCharacter(text, i, &character);
        return unorm2_hasBoundaryBefore(composed, static_cast<UChar32>(character)) != 0;
    };
    if (wanted.empty())
        return none;
    for (std::size_t begin = 0; begin < text.size(); ++begin)
        for (std::size_t end = begin + 1; end <= text.size() && isBoundary(begin); ++end)
            if (isBoundary(end) && unorm_compare(text.data() + begin, static_cast<int32_t>(end - begin), wanted.data(),
                                                 static_cast<int32_t>(wanted.size()),
                                                 ignoringCase ? U_COMPARE_IGNORE_CASE : 0, &error) == 0)
                return NSRange{begin, end - begin};
    return none;
}

TEST(NSStringSearch, FindsWhatTheDefinitionFinds) {
    RandomText random{u"a",      u"e",      u"A",      u"E",      u"\u00E9", u"\u0301",    u"\u0323", u"\u0307",
                      u"\u1EA1", u"\u00DF", u"s",      u"S",      u"k",      u"\u212A",    u"\uAC00", u"\u1100",
                      u"\u1161", u"\u03C3", u"\u03C2", u"\u03A3", u"\xD83D", u"\U0001D15E"};
    std::size_t found = 0;
    for (int i = 0; i < 30000; ++i) {
        const String text = random.next(8);
        const String wanted = random.next(2);
        const auto expected = foundByDefinition(text, wanted, false);
        ASSERT_EQ(rangeOfString(text, wanted), expected) << shown(text) << " | " << shown(wanted);
        ASSERT_EQ(rangeOfString(text, wanted, NSCaseInsensitiveSearch), foundByDefinition(text, wanted, true))
            << shown(text) << " | " << shown(wanted);
        found += expected ? 1u : 0u;
    }
    EXPECT_GT(found, 1000u);
}

TEST(NSStringSearch, LiteralSearchFindsUnits) {
    RandomText random{u"a", u"b", u"aab", u"\u0301"};
    for (int i = 0; i < 30000; ++i) {
        const String text = random.next(20);
        const String wanted = random.next(5);
        if (wanted.empty())
            continue;
        const auto range = rangeOfString(text, wanted, NSLiteralSearch);
        ASSERT_EQ(range ? range->location : String::npos, text.find(wanted)) << shown(text) << " | " << shown(wanted);
        const auto last = rangeOfString(text, wanted, NSLiteralSearch | NSBackwardsSearch);
        ASSERT_EQ(last ? last->location : String::npos, text.rfind(wanted)) << shown(text) << " | " << shown(wanted);
    }
}

TEST(NSStringSearch, Replaces) {
    String text = u"a-\u00E9-e\u0301-e";
    EXPECT_EQ(replaceOccurrencesOfString(text, u"e\u0301", u"X"), 2u);
    EXPECT_EQ(text, u"a-X-X-e");
    EXPECT_EQ(replaceOccurrencesOfString(text, u"x", u"y", NSCaseInsensitiveSearch), 2u);
    EXPECT_EQ(text, u"a-y-y-e");
    EXPECT_EQ(replaceOccurrencesOfString(text, u"", u"y"), 0u);
    EXPECT_EQ(replaceOccurrencesOfString(text, text, text + text), 1u); // both are the text itself
    EXPECT_EQ(text, u"a-y-y-ea-y-y-e");
    String many(1000, u'a');
    EXPECT_EQ(replaceOccurrencesOfString(many, u"aaa", u""), 333u);
    EXPECT_EQ(many, u"a");
}

TEST(NSCharacterSetTest, HoldsWhatItWasMadeOf) {
    const auto& white = NSCharacterSet::whitespaceAndNewlineCharacterSet();
    const StringView members = u"\t\n\v\f\r \u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008"
                               u"\u2009\u200A\u2028\u2029\u202F\u205F\u3000";
    const NSCharacterSet others = white.invertedSet();
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        const bool expected = c <= 0xFFFF && members.find(static_cast<char16_t>(c)) != StringView::npos;
        ASSERT_EQ(white.longCharacterIsMember(c), expected) << static_cast<unsigned>(c);
        ASSERT_EQ(others.longCharacterIsMember(c), !expected) << static_cast<unsigned>(c);
    }
    EXPECT_EQ(&white, &NSCharacterSet::whitespaceAndNewlineCharacterSet());
    const auto range = NSCharacterSet::characterSetWithRange(U'\u00F0', U'\u0110');
    EXPECT_TRUE(range.longCharacterIsMember(0xF0) && range.longCharacterIsMember(0x110));
    EXPECT_FALSE(range.longCharacterIsMember(0xEF) || range.longCharacterIsMember(0x111));
    const auto empty = NSCharacterSet::characterSetWithCharactersInString(u"");
    EXPECT_FALSE(empty.longCharacterIsMember(0));
    EXPECT_TRUE(empty.invertedSet().longCharacterIsMember(0x10FFFF));
    EXPECT_FALSE(empty.invertedSet().invertedSet().longCharacterIsMember(u'a'));
    EXPECT_FALSE(NSCharacterSet::characterSetWithRange(2, 1).longCharacterIsMember(1));
    const auto listed = NSCharacterSet::characterSetWithCharactersInString(u"cab\U0001F600");
    EXPECT_TRUE(listed.longCharacterIsMember(u'b') && listed.longCharacterIsMember(0x1F600));
    EXPECT_FALSE(listed.longCharacterIsMember(0xD83D));
    EXPECT_EQ(trimmed(u"\U0001F600ca-x-\U0001F600", listed), u"-x-");
    EXPECT_EQ(trimmed(u"abc", listed), u"");
}

} // namespace
} // namespace platform
