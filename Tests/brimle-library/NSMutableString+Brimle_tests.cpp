#include "brimle/NSMutableString+Brimle.h"

#include "Tests/Support/LogFile.h"

#include <gtest/gtest.h>

namespace brimle {
namespace {

using testing_support::LogFile;

struct Row {
    StringView text;
    std::optional<StringView> target;
    std::optional<StringView> replacement;
    std::size_t count;
    StringView expected;
};

TEST(NSMutableStringBrimle, Replaces) {
    const Row rows[] = {
        {u"a-b-c", u"-", u"+", 2, u"a+b+c"},
        {u"aaaa", u"aa", u"a", 2, u"aa"},
        {u"aaa", u"aa", u"b", 1, u"ba"},
        {u"Abc", u"a", u"x", 0, u"Abc"},
        {u"abc", u"", u"x", 0, u"abc"},
        {u"", u"a", u"x", 0, u""},
        {u"abc", u"abc", u"", 1, u""},
        {u"abab", u"ab", u"abab", 2, u"abababab"},
        // Composed or not, the same letters.
        {u"caf\u00E9 cafe\u0301 cafe", u"\u00E9", u"E", 2, u"cafE cafE cafe"},
        {u"e e\u0301", u"e", u"x", 1, u"x e\u0301"},
    };
    for (const Row& row : rows) {
        String text(row.text);
        EXPECT_EQ(br_replaceOccurrencesOfString_withString(text, row.target, row.replacement), row.count);
        EXPECT_EQ(text, row.expected);
    }
}

TEST(NSMutableStringBrimle, LogsAbsentArguments) {
    const LogFile log;
    String text = u"a-b";
    EXPECT_EQ(br_replaceOccurrencesOfString_withString(text, std::nullopt, std::nullopt), 0u);
    EXPECT_EQ(text, u"a-b");
    EXPECT_EQ(log.messages(), std::vector<std::string>{"target is nil in replaceOccurrencesOfString"});
    EXPECT_EQ(br_replaceOccurrencesOfString_withString(text, u"-", std::nullopt), 1u);
    EXPECT_EQ(text, u"ab");
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"target is nil in replaceOccurrencesOfString",
                                                        "replacement is nil in replaceOccurrencesOfString"}));
}

struct PasswordRow {
    std::optional<StringView> password;
    bool conceal;
    StringView expected;
};

TEST(NSMutableStringBrimle, ConcealsPasswords) {
    const PasswordRow rows[] = {
        {u"a<b", false, u"[a<b] [a<b]"}, // not escaped: that is for the caller
        {u"abcd", true, u"[&#8226;&#8226;&#8226;&#8226;] [&#8226;&#8226;&#8226;&#8226;]"},
        {u"\U0001F600", true, u"[&#8226;&#8226;] [&#8226;&#8226;]"},
        {u"", true, u"[] []"},
        {u"", false, u"[] []"},
        {std::nullopt, true, u"[] []"},
        {std::nullopt, false, u"[] []"},
    };
    for (const PasswordRow& row : rows) {
        String text = u"[%P] [%P]";
        EXPECT_EQ(br_replaceOccurrencesOfString_withPassword_conceal(text, u"%P", row.password, row.conceal), 2u);
        EXPECT_EQ(text, row.expected);
    }
    const LogFile log;
    String text = u"x";
    EXPECT_EQ(br_replaceOccurrencesOfString_withPassword_conceal(text, std::nullopt, u"p", true), 0u);
    EXPECT_EQ(br_replaceOccurrencesOfString_withPassword_conceal(text, u"x", std::nullopt, true), 1u);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"target is nil in replaceOccurrencesOfString"});
}

} // namespace
} // namespace brimle
