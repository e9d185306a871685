#include "brimle/NSString+BrimleHTML.h"

#include "TextReference.h"
#include "TextRows.h"

#include "Tests/Support/RandomText.h"

#include <gtest/gtest.h>

namespace brimle {
namespace {

using testing_support::RandomText;
using testing_support::shown;

constexpr StringView operator""_v(const char16_t* text, std::size_t length) {
    return {text, length};
}

TEST(HTMLEntities, Decoding) {
    const TextRow rows[] = {
        {u"", u""},
        {u"plain; #65;", u"plain; #65;"},
        {u"&copy;&nbsp;&yuml;", u"\u00A9\u00A0\u00FF"},
        {u"&Eacute;&eacute;&times;&divide;&szlig;", u"\u00C9\u00E9\u00D7\u00F7\u00DF"},
        {u"&COPY;&NBSP;&copy", u"&COPY;&NBSP;&copy"},
        // What markup needs, and what is not of ISO 8859-1, has no name here.
        {u"&amp;&lt;&gt;&quot;&apos;&euro;&hellip;", u"&amp;&lt;&gt;&quot;&apos;&euro;&hellip;"},
        {u"&&copy;;", u"&\u00A9;"},
        {u"&co&copy;py;", u"&co\u00A9py;"},
        {u"&;& &#", u"&;& &#"},
        {u"&#38;", u"&"},
        {u"&#x3C;", u"<"},
        {u"&#65;&#66;", u"AB"},
        {u"a&#65;b&#66;c", u"aAbBc"},
        {u"&#x41", u"&#x41"},
        {u"&#65 and on", u"&#65 and on"},
        {u"&#65536;", u"\0"_v},
        {u"&#65601;", u"A"},
        {u"&#-1;", u"\uFFFF"},
        {u"&#+65;", u"A"},
        {u"&#- 65;", u"\0"_v},
        // Everything up to the ";" goes.
        {u"&#12ab;", u"\f"},
        {u"&#;", u"\0"_v},
        {u"&# A;", u"\0"_v},
        {u"&# \u2003\n65;", u"A"},
        {u"&#38 rest of the sentence; more", u"& more"},
        {u"&#65&#66;", u"A"},
        // Only a small x directly behind the "#" means hexadecimal.
        {u"&#X41;", u"\0"_v},
        {u"&# x41;", u"\0"_v},
        {u"&#x 41;", u"A"},
        {u"&#x0x41;", u"A"},
        {u"&#x0X41;", u"A"},
        {u"&#x0x;", u"\0"_v},
        {u"&#x-41;", u"\0"_v},
        {u"&#xx41;", u"\0"_v},
        {u"&#x;", u"\0"_v},
        {u"&#x4Ag;", u"J"},
        {u"&#0x41;", u"\0"_v},
        // The low 16 bits; two references may make a pair.
        {u"&#x1F600;", u"\uF600"},
        {u"&#xD83D;&#xDE00;", u"\U0001F600"},
        // The nearest number of 32 bits where one does not fit.
        {u"&#x100000041;", u"\uFFFF"},
        {u"&#4294967361;", u"\uFFFF"},
        {u"&#-99999999999999999999;", u"\0"_v},
        {u"&#2147483713;", u"\uFFFF"},
        // A decoded ampersand opens the next reference; what stands before it is done with.
        {u"&#38;#65;", u"A"},
        {u"&#38;#38;#65;", u"A"},
        {u"&#38;nbsp;", u"&nbsp;"},
        {u"&#38;&#35;65;", u"&#65;"},
        {u"&#x26;#x26;#x26;amp;", u"&amp;"},
        {u"&#38;#", u"&#"},
        {u"&#38;#65", u"&#65"},
        {u"&#38;;&#65;", u"&;A"},
        // Names go first: they may take the ";" that an open reference waited for.
        {u"&#65 &nbsp;", u"&#65 \u00A0"},
        {u"&#65&nbsp;;", u"A"},
        {u"&#&#65;", u"\0"_v},
        // A ";" that closes nothing.
        {u";;;&#65;", u";;;A"},
        {u";&#65", u";&#65"},
        {u"&#65;;&#66;;", u"A;B;"},
    };
    expectRows(rows, br_stringByDecodingHTMLEntities, reference::decodingHTMLEntities);
    const String lone{u'&', 0xDE00, u'\0', u'&', u'#', u'6', u'5', u';', 0xD83D};
    EXPECT_EQ(br_stringByDecodingHTMLEntities(lone), (String{u'&', 0xDE00, u'\0', u'A', 0xD83D}));
    EXPECT_EQ(br_stringByDecodingHTMLEntities(u"&#xD83D;"), String(1, char16_t(0xD83D)));
}

TEST(HTMLEntities, TheTableIsTheStandards) {
    ASSERT_EQ(Latin1Entities.size(), 96u);
    std::uint64_t sum = 0xcbf29ce484222325; // FNV-1a of the entries joined with line feeds
    for (std::size_t i = 0; i < Latin1Entities.size(); ++i) {
        for (const char c : (i > 0 ? "\n" : "") + std::string(Latin1Entities[i]))
            sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
        const String entity = reference::wide(Latin1Entities[i]);
        EXPECT_EQ(br_stringByDecodingHTMLEntities(entity), String(1, static_cast<char16_t>(160 + i)));
    }
    EXPECT_EQ(sum, 0x74fc59a0441e2896u);
}

TEST(HTMLEntities, EqualTheStepsOnRandomText) {
    RandomText random{u"&",  u"#",     u"&#",     u";",      u"x",       u"X",      u"6",    u"5",      u"65;",
                      u"38", u"&#38;", u"&#x26;", u"&nbsp;", u"&copy;",  u"nbsp",   u"amp;", u" ",      u"&#35;",
                      u"-1", u"0x",    u"a",      u"F",      u"&thorn;", u"\u00A0", u"\0"_v, u"\xD83D", u"\uFFFF"};
    for (int i = 0; i < 60000; ++i) {
        const String text = random.next(24);
        ASSERT_EQ(br_stringByDecodingHTMLEntities(text), reference::decodingHTMLEntities(text)) << shown(text);
    }
}

TEST(HTMLEscapes, Printable) {
    const TextRow rows[] = {
        {u"", u""},
        {u"a < b & c > d", u"a &lt; b &amp; c &gt; d"},
        {u"&lt;", u"&amp;lt;"},
        {u"\"it's\"", u"\"it's\""},
        {u"\r\n", u"<br />"},
        {u"\n\r", u"<br />"},
        {u"\n\n", u"<br /><br />"},
        {u"\r\r", u"<br /><br />"},
        {u"\r\n\r\n", u"<br /><br />"},
        {u"\n\r\n", u"<br /><br />"},
        {u"\n\r\n\r", u"<br /><br /><br />"},
        {u"\r\n\r", u"<br /><br />"},
        {u"\n\r\r\n", u"<br /><br />"},
        {u"\n\r\r", u"<br /><br />"},
        {u"a\u2028b\u2029c\u0085d\te", u"a<br />b\u2029c\u0085d\te"},
    };
    expectRows(rows, br_asPrintableHTML, br_html);
}

TEST(HTMLEscapes, Script) {
    const TextRow rows[] = {
        {u"", u""},
        {u"\\n", u"\\\\n"},
        {u"\n", u"\\n"},
        {u"'\"", u"\\'&quot;"},
        {u"\\'", u"\\\\\\'"},
        {u"</script>&", u"&lt;/script&gt;&amp;"},
        {u"\r\t\u2028", u"\r\t\u2028"},
    };
    expectRows(rows, br_javascript);
}

TEST(HTMLEscapes, AnyEncoding) {
    const TextRow rows[] = {
        {u"", u""},
        {u"it's\r", u"it's\r"},
        {u"\u00E9\u00A0", u"&#233;&#160;"},
        {u"a\nb\"&<>", u"a<br/>b&quot;&amp;&lt;&gt;"},
        {u"\U0001F600", u"&#55357;&#56832;"},
        {u"\x7F\u0080\uFFFF", u"\x7F&#128;&#65535;"},
        {u"\0"_v, u"\0"_v},
    };
    expectRows(rows, br_htmlString);
    EXPECT_EQ(br_htmlString(String{0xDC00, u'x'}), u"&#56320;x");
}

TEST(HTMLEscapes, EqualTheChainsOnRandomText) {
    RandomText random{u"&",    u"<",      u">",      u"\"", u"'",    u"\\",     u"\n",   u"\r",     u"\r\n",
                      u"\n\r", u"\u2028", u"\u2029", u"a",  u"text", u"\u00E9", u"\0"_v, u"\xD83D", u"\xDE00"};
    for (int i = 0; i < 60000; ++i) {
        const String text = random.next(24);
        ASSERT_EQ(br_asPrintableHTML(text), reference::asPrintableHTML(text)) << shown(text);
        ASSERT_EQ(br_javascript(text), reference::javascript(text)) << shown(text);
        ASSERT_EQ(br_htmlString(text), reference::htmlString(text)) << shown(text);
    }
}

// What the chains promise about any text.
TEST(HTMLEscapes, Properties) {
    RandomText random{u"&", u"<", u">", u"\"", u"'", u"\\", u"\n", u"\r", u"\u2028", u"word", u"\u00E9", u"\U0001F600"};
    for (int i = 0; i < 5000; ++i) {
        const String text = random.next(20);
        EXPECT_EQ(br_asPrintableHTML(text).find_first_of(u"\n\r\u2028"), String::npos) << shown(text);
        EXPECT_EQ(br_javascript(text).find_first_of(u"<>\"\n"), String::npos) << shown(text);
        for (const char16_t unit : br_htmlString(text))
            ASSERT_LT(unit, 128) << shown(text);
        EXPECT_GE(br_htmlString(text).size(), text.size());
        // Decoding undoes the numeric references.
        const String letters = text.substr(0, text.find_first_of(u"&<>\"\n"));
        EXPECT_EQ(br_stringByDecodingHTMLEntities(br_htmlString(letters)), letters) << shown(text);
    }
    // None of them may be applied twice.
    EXPECT_NE(br_asPrintableHTML(br_asPrintableHTML(u"&")), br_asPrintableHTML(u"&"));
    EXPECT_NE(br_javascript(br_javascript(u"\\")), br_javascript(u"\\"));
    EXPECT_NE(br_htmlString(br_htmlString(u"<")), br_htmlString(u"<"));
    EXPECT_NE(br_stringByDecodingHTMLEntities(br_stringByDecodingHTMLEntities(u"&#38;&#35;65;")),
              br_stringByDecodingHTMLEntities(u"&#38;&#35;65;"));
}

} // namespace
} // namespace brimle
