#include "Foundation/CFURL.h"
#include "Foundation/NSFormat.h"
#include "Foundation/NSURL.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

struct PartsCase {
    const char16_t* text;
    std::optional<String> scheme, user, password, host;
    std::optional<int> port;
    std::optional<String> path, query, fragment;
};

constexpr auto none = std::nullopt;

TEST(NSURL, SplitsWhatIsValid) {
    const PartsCase rows[] = {
        {u"http://example.org", u"http", none, none, u"example.org", none, u"", none, none},
        {u"http://example.org/", u"http", none, none, u"example.org", none, u"/", none, none},
        {u"HTTP://Example.ORG:8080/A?b=c?d#e", u"HTTP", none, none, u"Example.ORG", 8080, u"/A", u"b=c?d", u"e"},
        {u"https://u:p@h:443/a%20b", u"https", u"u", u"p", u"h", 443, u"/a b", none, none},
        {u"http://u@h", u"http", u"u", none, u"h", none, u"", none, none},
        {u"http://u:@h", u"http", u"u", u"", u"h", none, u"", none, none},
        {u"http://a@b@c/", u"http", u"a@b", none, u"c", none, u"/", none, none},
        {u"http://h:/", u"http", none, none, u"h", none, u"/", none, none},
        {u"http://h:2147483647/", u"http", none, none, u"h", 2147483647, u"/", none, none},
        {u"http://h:2147483648/", u"http", none, none, u"h", none, u"/", none, none},
        {u"http://h:99999999999999999999/", u"http", none, none, u"h", none, u"/", none, none},
        {u"http://h:80x/", u"http", none, none, u"h", none, u"/", none, none},
        {u"http://[::1]:8080/x", u"http", none, none, u"::1", 8080, u"/x", none, none},
        {u"http://u@[FE80::1.2.3.4]", u"http", u"u", none, u"FE80::1.2.3.4", none, u"", none, none},
        {u"http://", u"http", none, none, none, none, u"", none, none},
        {u"file:///a/b", u"file", none, none, none, none, u"/a/b", none, none},
        {u"http://:80/", u"http", none, none, none, 80, u"/", none, none},
        {u"http://m%C3%BCnchen.de/%C3", u"http", none, none, u"münchen.de", none, u"/%C3", none, none},
        {u"mailto:a@example.org", u"mailto", none, none, none, none, none, none, none},
        {u"data:,a%20b#f", u"data", none, none, none, none, none, none, u"f"},
        {u"a1+-.x:/p", u"a1+-.x", none, none, none, none, u"/p", none, none},
        {u"", none, none, none, none, none, u"", none, none},
        {u"a/b?c", none, none, none, none, none, u"a/b", u"c", none},
        {u"//h/p", none, none, none, u"h", none, u"/p", none, none},
        {u"#f", none, none, none, none, none, u"", none, u"f"},
        {u"?q", none, none, none, none, none, u"", u"q", none},
        {u"./a:b", none, none, none, none, none, u"./a:b", none, none},
        {u"http://h/;p=1,$&'()*+~!@:", u"http", none, none, u"h", none, u"/;p=1,$&'()*+~!@:", none, none},
        {u"http://h/?a[]=1/?#[", u"http", none, none, u"h", none, u"/", u"a[]=1/?", u"["},
    };
    for (const PartsCase& row : rows) {
        SCOPED_TRACE(lossyUTF8String(row.text));
        const auto url = NSURL::URLWithString(row.text);
        ASSERT_TRUE(url);
        EXPECT_EQ(url->absoluteString(), row.text);
        EXPECT_EQ(stringWithFormat("%@", *url), row.text);
        EXPECT_EQ(url->scheme(), row.scheme);
        EXPECT_EQ(url->user(), row.user);
        EXPECT_EQ(url->password(), row.password);
        EXPECT_EQ(url->host(), row.host);
        EXPECT_EQ(url->port(), row.port);
        EXPECT_EQ(url->path(), row.path);
        EXPECT_EQ(url->query(), row.query);
        EXPECT_EQ(url->fragment(), row.fragment);
    }
}

TEST(NSURL, RefusesInsteadOfRepairing) {
    for (const StringView text : {u"http://h/a b",
                                  u" http://h/",
                                  u"http://h/ ",
                                  u"http://h/\n",
                                  u"http://h/%",
                                  u"http://h/%4",
                                  u"http://h/%4g",
                                  u"http://h/%%41",
                                  u"http://h/?%",
                                  u"http://h/#%4",
                                  u"http://h/\"",
                                  u"http://h/<",
                                  u"http://h/>",
                                  u"http://h/\\",
                                  u"http://h/^",
                                  u"http://h/`",
                                  u"http://h/{",
                                  u"http://h/|",
                                  u"http://h/}",
                                  u"http://h/\x7F",
                                  u"http://h/ä",
                                  u"http://münchen/",
                                  u"http://h/[",
                                  u"http://h/]",
                                  u"http://h/#a#b",
                                  u"://x",
                                  u":",
                                  u"1http://h/",
                                  u"ht tp://h/",
                                  u"ht_tp://h/",
                                  u"http://[::1/",
                                  u"http://[::1]x/",
                                  u"http://[g::1]/",
                                  u"http://[a]/",
                                  u"http://a[b]/",
                                  u"http://h/?a b",
                                  u"http://h/?ä",
                                  u"http://a b/",
                                  u"http://a\\b/",
                                  u"http://u v@h/",
                                  u"http://[u@]@h/",
                                  u"http://h:8 0/",
                                  u"mailto:a b",
                                  u"http://[::1]:[/",
                                  u"http://h%2/"})
        EXPECT_FALSE(NSURL::URLWithString(text)) << lossyUTF8String(text);
    EXPECT_FALSE(NSURL::URLWithString(StringView(u"http://h/\0x", 11)));
    EXPECT_FALSE(NSURL::URLWithString(String(u"http://h/") + char16_t(0xD800)));
}

struct BuildCase {
    const char16_t* scheme;
    const char16_t* host;
    const char16_t* path;
    std::optional<String> expected;
};

TEST(NSURL, BuildsFromUnescapedParts) {
    const BuildCase rows[] = {
        {u"http", u"example.org", u"/a b", u"http://example.org/a%20b"},
        {u"https", u"example.org", u"", u"https://example.org"},
        {u"http", u"h", u"/100%/%41?q;r#s", u"http://h/100%25/%2541%3Fq%3Br%23s"},
        {u"http", u"h", u"/ä\"<>[]{}|\\^`", u"http://h/%C3%A4%22%3C%3E%5B%5D%7B%7D%7C%5C%5E%60"},
        {u"http", u"h", u"/-_.!~*'():@&=+$,", u"http://h/-_.!~*'():@&=+$,"},
        {u"http", u"münchen.de", u"/", u"http://m%C3%BCnchen.de/"},
        {u"http", u"u@h:80", u"/", u"http://u@h:80/"},
        {u"http", u"a?b/c", u"/", u"http://a%3Fb%2Fc/"},
        {u"http", u"::1", u"/x", u"http://[::1]/x"},
        {u"http", u"[::1]", u"/x", u"http://[::1]/x"},
        {u"file", u"", u"/x", u"file:///x"},
        {u"http", u"[x]", u"/", none},
        {u"http", u"h", u"x", none},
        {u"", u"h", u"/", none},
        {u"ht tp", u"h", u"/", none},
        {u"1", u"h", u"/", none},
    };
    for (const BuildCase& row : rows) {
        const auto url = NSURL::initWithScheme_host_path(row.scheme, row.host, row.path);
        EXPECT_EQ(url ? std::optional(url->absoluteString()) : none, row.expected)
            << lossyUTF8String(row.host) << " " << lossyUTF8String(row.path);
        if (url && !url->path()->empty()) {
            EXPECT_EQ(url->path(), row.path);
        }
    }
}

TEST(CFURL, EscapesWhatIsNeverLegalAndWhatIsAskedFor) {
    const StringView legal = u"abcXYZ019-_.!~*'();/?:@&=+$,";
    EXPECT_EQ(CFURLCreateStringByAddingPercentEscapes(legal, u"", u""), legal);
    EXPECT_EQ(CFURLCreateStringByAddingPercentEscapes(u" \"#%<>[\\]^`{|}\x7F\n", u"", u""),
              u"%20%22%23%25%3C%3E%5B%5C%5D%5E%60%7B%7C%7D%7F%0A");
    EXPECT_EQ(CFURLCreateStringByAddingPercentEscapes(u"a b/é\U0001F600", u"", u"/a"), u"%61%20b%2F%C3%A9%F0%9F%98%80");
    EXPECT_EQ(CFURLCreateStringByAddingPercentEscapes(u"a b%é/", u" %é/", u"/"), u"a b%é/");
    EXPECT_EQ(CFURLCreateStringByAddingPercentEscapes(StringView(u"\0", 1), u"", u""), u"%00");
    EXPECT_EQ(CFURLCreateStringByAddingPercentEscapes(String{0xDE00, u'a', 0xD83D}, u"", u""), u"%EF%BF%BDa%EF%BF%BD");
    EXPECT_EQ(CFURLCreateStringByAddingPercentEscapes(u"", u"", u""), u"");
}

} // namespace
} // namespace platform
