// Texts of a million pieces, made to hurt: each has a result that can be told, and comes to it in milliseconds. An
// operation that looked at the rest of the text for every piece would not end within the time that a test has.
#include "brimle/NSMutableString+Brimle.h"
#include "brimle/NSString+Brimle.h"
#include "brimle/NSString+BrimleDomain.h"
#include "brimle/NSString+BrimleHTML.h"
#include "brimle/NSString+BrimlePlain.h"
#include "brimle/NSString+BrimleURL.h"

#include <gtest/gtest.h>

namespace brimle {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t many = 50'000; // it makes each step ten times as long
#else
constexpr std::size_t many = 1'000'000;
#endif

String repeated(StringView piece, std::size_t count = many) {
    String text;
    text.reserve(count * piece.size());
    for (std::size_t i = 0; i < count; ++i)
        text += piece;
    return text;
}

constexpr StringView operator""_v(const char16_t* text, std::size_t length) {
    return {text, length};
}

struct Row {
    const char* what;
    String (*operation)(StringView);
    String text;
    String expected;
};

void expectAll(const std::vector<Row>& rows) {
    for (const Row& row : rows)
        EXPECT_TRUE(row.operation(row.text) == row.expected) << row.what;
}

TEST(HostileText, Entities) {
    const auto decode = br_stringByDecodingHTMLEntities;
    const String zeros = repeated(u"\0"_v);
    expectAll({
        {"openings that nothing closes", decode, repeated(u"&#"), repeated(u"&#")},
        {"closings before the one opening", decode, repeated(u";") + u"&#65;", repeated(u";") + u"A"},
        {"closings before an opening without one", decode, repeated(u";") + u"&#65", repeated(u";") + u"&#65"},
        {"closing and opening in turn", decode, repeated(u";&#"), u";" + repeated(u"\0"_v, many - 1) + u"&#"},
        {"a chain of ampersands", decode, u"&#38;" + repeated(u"#38;") + u"#65;", u"A"},
        {"a chain in hexadecimal", decode, u"&#x26;" + repeated(u"#x26;") + u"#x41;", u"A"},
        {"ampersands that end beside each other", decode, repeated(u"&#38;") + u"#65;",
         repeated(u"&", many - 1) + u"A"},
        {"a chain that is cut off", decode, u"&#38;" + repeated(u"#38;") + u"#65", u"&#65"},
        {"openings closed at the end", decode, repeated(u"&#65") + u";", u"A"},
        {"references without a number", decode, repeated(u"&#;"), zeros},
        {"ampersands", decode, repeated(u"&"), repeated(u"&")},
        {"names without an end", decode, repeated(u"&nbsp"), repeated(u"&nbsp")},
        {"names in each other", decode, repeated(u"&nbs") + repeated(u"&nbsp;"),
         repeated(u"&nbs") + repeated(u"\u00A0")},
        {"a number of very many zeros", decode, u"&#" + repeated(u"0") + u"65;", u"A"},
        {"a number behind very many blanks", decode, u"&#x" + repeated(u" \u2003") + u"41;", u"A"},
        {"lone surrogates by reference", decode, repeated(u"&#xD800;"), repeated(u"\xD800")},
        {"lone surrogates and zeros", decode, repeated(u"&\xDC00\0"_v), repeated(u"&\xDC00\0"_v)},
    });
}

TEST(HostileText, Escapes) {
    expectAll({
        {"breaks the wrong way round", br_asPrintableHTML, repeated(u"\n\r"), repeated(u"<br />", many + 1)},
        {"a break and a half", br_asPrintableHTML, repeated(u"\r\n\r"), repeated(u"<br /><br />")},
        {"ampersands", br_asPrintableHTML, repeated(u"&"), repeated(u"&amp;")},
        {"backslashes", br_javascript, repeated(u"\\'"), repeated(u"\\\\\\'")},
        {"lone surrogates", br_htmlString, repeated(u"\xDC00\xD800"), repeated(u"&#56320;&#55296;")},
        {"shell characters", br_stringAsLegalFilePath, repeated(u"' :"), repeated(u"\\'\\ _")},
        {"backslashes and blanks", br_stringAsLegalFilePath, repeated(u"\\  "), repeated(u"\\ \\ ")},
        {"accents", br_stringByStrippingAccentMarks, repeated(u"\u00FF\u00C5"), repeated(u"y\u00C5")},
        {"tags", br_validTagString, repeated(u"\r\n"), repeated(u" ", 2048)},
        {"blanks", br_trim, repeated(u"\u2003") + u"x" + repeated(u"\u0085"), u"x"},
    });
}

TEST(HostileText, Addresses) {
    expectAll({
        {"labels", br_stringByExtracting2ndTLD, repeated(u"a."), u"a.a."},
        {"labels below a suffix", br_stringByExtracting2ndTLD, repeated(u"b.") + u"co.uk", u"b.co.uk"},
        {"suffixes", br_stringByExtracting2ndTLD, repeated(u".co.uk"), u"uk.co.uk"},
        {"districts", br_stringByExtracting2ndTLD, u"x" + repeated(u".k12.ca.us"), u"us.k12.ca.us"},
        {"dots", br_stringByExtracting2ndTLD, repeated(u"."), repeated(u".")},
        {"one label", br_urlAsLoginTitle, repeated(u"x"), u"X" + repeated(u"x", many - 1)},
        {"colons", br_stringByExtractingFullDomain, u"a" + repeated(u":/"), u"a"},
        {"slashes that are no scheme", br_validURLString, repeated(u":/"), u"http://" + repeated(u":/")},
    });
}

TEST(HostileText, Searches) {
    const String text = repeated(u"ab");
    EXPECT_FALSE(br_containsString(text, repeated(u"ab", many / 2) + u"b"));
    EXPECT_TRUE(br_containsString(text, repeated(u"ba", many / 2)));
    String changed = repeated(u"a");
    EXPECT_EQ(br_replaceOccurrencesOfString_withString(changed, repeated(u"a", 1000) + u"b", u"x"), 0u);
    EXPECT_EQ(br_replaceOccurrencesOfString_withString(changed, u"a", u"bc"), many);
    EXPECT_TRUE(changed == repeated(u"bc"));
    EXPECT_EQ(br_numberOfLines(repeated(u"\r\r\n")), 2 * many);
    EXPECT_EQ(br_numberOfLinesLimitedTo(repeated(u"\u2028"), -1), many);
}

} // namespace
} // namespace brimle
