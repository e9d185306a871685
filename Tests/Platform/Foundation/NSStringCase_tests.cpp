#include "Foundation/NSStringCase.h"

#include "Tests/Support/RandomText.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using testing_support::shown;

struct Row {
    StringView text;
    StringView expected;
};

TEST(NSStringCase, Lowers) {
    const Row rows[] = {
        {u"", u""},
        {u"ABC xyz @[`{ 019", u"abc xyz @[`{ 019"},
        {u"\u00C9\u0416", u"\u00E9\u0436"},
        {u"\u0130", u"i\u0307"},
        {u"I", u"i"}, // whatever the user's language
        {u"\u03A3\u0391\u03A3 \u03A3", u"\u03C3\u03B1\u03C2 \u03C3"},
        {u"\u212A\u2126", u"k\u03C9"},
        {u"\U00010400", u"\U00010428"},
        {u"\u1E9E", u"\u00DF"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(lowercaseString(row.text), row.expected) << shown(row.text);
    EXPECT_EQ(lowercaseString(String{u'A', 0xD800, u'\0', 0xC9}), (String{u'a', 0xD800, u'\0', 0xE9}));
    EXPECT_EQ(lowercaseString(String(100000, char16_t(0x130))).size(), 200000u);
}

TEST(NSStringCase, Capitalizes) {
    const Row rows[] = {
        {u"", u""},
        {u"hello world", u"Hello World"},
        {u"HELLO", u"Hello"},
        {u"my-bank_x.y/z", u"My-Bank_X.Y/Z"},
        {u"3com a1b", u"3Com A1B"},
        {u"don't \u2019tis o\u2019neil", u"Don't \u2019Tis O\u2019neil"},
        {u"e\u0301COLE", u"E\u0301cole"},
        {u"\u01C6\u01C4", u"\u01C5\u01C6"},
        {u"\u00DFtra\u00DFe", u"Sstra\u00DFe"},
        {u"\uFB01n", u"Fin"},
        {u"\u03C3\u03A3\u03A3", u"\u03A3\u03C3\u03C2"},
        {u"a\u4E2Db", u"A\u4E2DB"},
        {u"\U00010428\U00010400", u"\U00010400\U00010428"},
        {u"  '", u"  '"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(capitalizedString(row.text), row.expected) << shown(row.text);
    EXPECT_EQ(capitalizedString(String{u'a', 0xD800, u'\0', u'B'}), (String{u'A', 0xD800, u'\0', u'B'}));
}

} // namespace
} // namespace platform
