#include "Foundation/NSString.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(NSString, ConvertsEveryScalarBothWays) {
    for (char32_t c = 0; c <= 0x10FFFF; c += c < 0x900 ? 1 : 61) {
        if (c >= 0xD800 && c < 0xE000)
            continue;
        String text;
        if (c < 0x10000)
            text.push_back(static_cast<char16_t>(c));
        else
            text = {static_cast<char16_t>(0xD7C0 + (c >> 10)), static_cast<char16_t>(0xDC00 | (c & 0x3FF))};
        const auto bytes = UTF8String(text);
        ASSERT_TRUE(bytes);
        ASSERT_EQ(stringWithUTF8(*bytes), text) << static_cast<unsigned>(c);
    }
}

TEST(NSString, RefusesWhatIsNotUTF8) {
    for (const std::string_view bytes :
         {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80",
          "\xF5\x80\x80\x80", "\xE2\x82", "a\xFF", "\xC3", "\xE2\x28\xA1"})
        EXPECT_FALSE(stringWithUTF8(bytes));
    EXPECT_EQ(stringWithUTF8OrLatin1("h\xE9"), u"h\u00E9");
}

TEST(NSString, LoneSurrogatesHaveNoUTF8Form) {
    const String high{0xD83D};
    const String low{u'a', 0xDE00};
    EXPECT_FALSE(UTF8String(high));
    EXPECT_FALSE(UTF8String(low));
    EXPECT_EQ(lossyUTF8String(low), "a\xEF\xBF\xBD");
    EXPECT_EQ(UTF8String(u"\U0001F600"), "\xF0\x9F\x98\x80");
}

struct PathCase {
    const char16_t* path;
    const char16_t* expected;
};

TEST(NSString, DeletesTheLastPathComponent) {
    const PathCase rows[] = {{u"/a/b", u"/a"}, {u"/a", u"/"},  {u"a", u""},       {u"", u""},        {u"/", u"/"},
                             {u"a/b/", u"a"},  {u"//a", u"/"}, {u"/a//b", u"/a"}, {u"~/x/y", u"~/x"}};
    for (const PathCase& row : rows)
        EXPECT_EQ(stringByDeletingLastPathComponent(row.path), row.expected) << lossyUTF8String(row.path);
}

TEST(NSString, DeletesThePathExtension) {
    const PathCase rows[] = {{u"/a/b.c", u"/a/b"},   {u"b.c.d", u"b.c"},   {u".profile", u".profile"},
                             {u"/a.b/c", u"/a.b/c"}, {u"/a/.b", u"/a/.b"}, {u"a..b", u"a."},
                             {u"a.b/", u"a"},        {u"/", u"/"},         {u"", u""},
                             {u"a.", u"a."},         {u"x.icns", u"x"}};
    for (const PathCase& row : rows)
        EXPECT_EQ(stringByDeletingPathExtension(row.path), row.expected) << lossyUTF8String(row.path);
}

struct AppendCase {
    const char16_t* path;
    const char16_t* component;
    const char16_t* expected;
};

TEST(NSString, AppendsAPathComponent) {
    const AppendCase rows[] = {{u"/a", u"b", u"/a/b"}, {u"/a/", u"b", u"/a/b"}, {u"/", u"b", u"/b"},
                               {u"", u"b", u"b"},      {u"/a", u"/b", u"/a/b"}, {u"/a", u"b/", u"/a/b"},
                               {u"/a/", u"", u"/a"},   {u"", u"/b", u"/b"},     {u"a", u"b/c", u"a/b/c"}};
    for (const AppendCase& row : rows)
        EXPECT_EQ(stringByAppendingPathComponent(row.path, row.component), row.expected) << lossyUTF8String(row.path);
}

TEST(NSString, ExpandsTheTilde) {
    const char* home = std::getenv("HOME");
    const std::string before = home ? home : "";
    setenv("HOME", "/home/x", 1);
    EXPECT_EQ(stringByExpandingTildeInPath(u"~/Library/Logs"), u"/home/x/Library/Logs");
    EXPECT_EQ(stringByExpandingTildeInPath(u"~"), u"/home/x");
    EXPECT_EQ(stringByExpandingTildeInPath(u"~nobody-of-this-name/x"), u"~nobody-of-this-name/x");
    EXPECT_EQ(stringByExpandingTildeInPath(u"a~/x"), u"a~/x");
    EXPECT_EQ(stringByExpandingTildeInPath(u"~root"), u"/root");
    setenv("HOME", before.c_str(), 1);
}

} // namespace
} // namespace platform
