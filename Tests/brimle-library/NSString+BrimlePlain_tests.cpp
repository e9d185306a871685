#include "brimle/NSString+BrimlePlain.h"

#include "TextReference.h"
#include "TextRows.h"

#include "Tests/Support/RandomText.h"

#include <gtest/gtest.h>

namespace brimle {
namespace {

using testing_support::RandomText;
using testing_support::shown;

TEST(NSStringBrimlePlain, StripsAccentMarks) {
    const TextRow rows[] = {
        {u"", u""},
        {u"Ñandú Çà Ÿ Å", u"Nandu Ça Y Å"},
        {u"ÀÁÂÃÄàáâãäÈÉÊËèéêëÌÍÎÏìíîïÑñÒÓÔÕÖòóôõöÙÚÛÜùúûüŸÿ", u"AAAAAaaaaaEEEEeeeeIIIIiiiiNnOOOOOoooooUUUUuuuuYy"},
        {u"ÅåÇçÝýØøÆæßÐðÞþ×÷Œœ", u"ÅåÇçÝýØøÆæßÐðÞþ×÷Œœ"},
        {u"e\u0301", u"e\u0301"},
        {u"\u0177\u0179\u00BF\u0100\u1E00", u"\u0177\u0179\u00BF\u0100\u1E00"},
    };
    expectRows(rows, br_stringByStrippingAccentMarks);
    std::size_t changed = 0;
    for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
        const String text(1, static_cast<char16_t>(unit));
        const String stripped = br_stringByStrippingAccentMarks(text);
        ASSERT_EQ(stripped, reference::strippingAccentMarks(text)) << unit;
        changed += stripped != text ? 1u : 0u;
    }
    EXPECT_EQ(changed, 48u);
}

TEST(NSStringBrimlePlain, MakesLegalFilePaths) {
    const TextRow rows[] = {
        {u"", u""},
        {u"My Files/report (1).txt", u"My\\ Files/report\\ \\(1\\).txt"},
        {u" a", u"\\ a"},
        {u"'", u"\\'"},
        {u"a\\ b", u"a\\ b"},
        {u"a:b:c", u"a_b_c"},
        {u"a\\:b", u"a\\_b"},
        // Any backslash counts, also the second of two.
        {u"a\\\\ b", u"a\\\\ b"},
        {u"a\\  b", u"a\\ \\ b"},
        {u"\\'\\\"''", u"\\'\\\"\\'\\'"},
        {u"' \"()$&;`{}<>", u"\\'\\ \\\"\\(\\)\\$\\&\\;\\`\\{\\}\\<\\>"},
        {u"\\/*?!|#~\t\n[]%^", u"\\/*?!|#~\t\n[]%^"},
        {u"'\u0301", u"\\'\u0301"},
        {u"\u2018 \u00A0", u"\u2018\\ \u00A0"},
    };
    expectRows(rows, br_stringAsLegalFilePath, reference::asLegalFilePath);
}

TEST(NSStringBrimlePlain, EqualsTheStepsOnRandomText) {
    RandomText random{u"'", u"\"", u" ",  u"(", u")", u"$",      u"&",      u";",      u"`",      u"{",  u"}",  u"<",
                      u">", u"\\", u"\\", u":", u"a", u"\u00E9", u"\u00C5", u"\u0178", u"\xD83D", u"\n", u"\r", u"\f"};
    for (int i = 0; i < 60000; ++i) {
        const String text = random.next(20);
        const String path = br_stringAsLegalFilePath(text);
        ASSERT_EQ(path, reference::asLegalFilePath(text)) << shown(text);
        ASSERT_EQ(br_stringAsLegalFilePath(path), path) << shown(text); // a legal path is its own
        ASSERT_EQ(path.find(u':'), String::npos);
        const String stripped = br_stringByStrippingAccentMarks(text);
        ASSERT_EQ(stripped, reference::strippingAccentMarks(text)) << shown(text);
        ASSERT_EQ(br_stringByStrippingAccentMarks(stripped), stripped);
        ASSERT_EQ(stripped.size(), text.size());
        const String cleaned = br_validPredicateFormatString(text);
        ASSERT_EQ(cleaned, reference::replacingChain(text, {{u"\n", u" "}, {u"\r", u" "}, {u"\f", u" "}}));
    }
}

TEST(NSStringBrimlePlain, CleansForPredicates) {
    const TextRow rows[] = {
        {u"", u""},
        {u"plain\ttext\v\u2028\u0085", u"plain\ttext\v\u2028\u0085"},
        {u"a\r\nb", u"a  b"},
        {u"\n\r\f", u"   "},
        {u"\\n\\014", u"\\n\\014"},
    };
    expectRows(rows, br_validPredicateFormatString);
}

TEST(NSStringBrimlePlain, CutsTags) {
    for (const std::size_t length : {0u, 1u, 2047u, 2048u, 2049u, 3000u}) {
        const String text(length, u'x');
        EXPECT_EQ(br_validTagString(text), text.substr(0, 2048)) << length;
    }
    // Cleaning keeps the length, so nothing moves over the cut; a pair may be split by it.
    const String text = String(2047, u'\n') + u"\U0001F600";
    EXPECT_EQ(br_validTagString(text), String(2047, u' ') + char16_t(0xD83D));
}

} // namespace
} // namespace brimle
