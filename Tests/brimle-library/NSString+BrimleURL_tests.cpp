#include "brimle/NSString+BrimleURL.h"

#include <gtest/gtest.h>

namespace brimle {
namespace {

using platform::lossyUTF8String;

struct AddressCase {
    const char16_t* text;
    const char16_t* valid;
    const char16_t* scheme;
    const char16_t* withProtocol;
    const char16_t* uri;
    const char16_t* fullDomain;
};

TEST(NSStringBrimleURL, TakesAddressesApart) {
    const AddressCase rows[] = {
        {u"example.org", u"http://example.org", u"http", u"http://example.org", u"example.org", u"example.org"},
        {u"example.org:443/a", u"https://example.org:443/a", u"https", u"https://example.org:443/a",
         u"example.org:443/a", u"example.org"},
        // Only with a colon does 443 make the guess of a secure scheme; as bare digits it still does for the protocol.
        {u"shop443.example", u"http://shop443.example", u"http", u"https://shop443.example", u"shop443.example",
         u"shop443.example"},
        {u"192.168.1.443", u"http://192.168.1.443", u"http", u"https://192.168.1.443", u"192.168.1.443",
         u"192.168.1.443"},
        {u"example.net:4430", u"https://example.net:4430", u"https", u"https://example.net:4430", u"example.net:4430",
         u"example.net"},
        {u"://x", u"://x", u"", u"://x", u"://x", u"x"},
        {u"a?b?c", u"http://a?b?c", u"http", u"http://a?b?c", u"a", u"a"},
        {u"?", u"http://?", u"http", u"http://?", u"", u""},
        {u"", u"http://", u"http", u"http://", u"", u""},
        // "://" counts wherever it stands.
        {u"a/b?to=http://c", u"a/b?to=http://c", u"a/b?to=http", u"a/b?to=http://c", u"a/b", u"c"},
        {u"http://a://b", u"http://a://b", u"http", u"http://a://b", u"http://a://b", u"a"},
        {u"http:/x", u"http://http:/x", u"http", u"http://http:/x", u"http:/x", u"http"},
        {u"http://User@Host#F\\G/p", u"http://User@Host#F\\G/p", u"http", u"http://User@Host#F\\G/p",
         u"http://User@Host#F\\G/p", u"user@host#f\\g"},
        {u"http://user:pw@host/", u"http://user:pw@host/", u"http", u"http://user:pw@host/", u"http://user:pw@host/",
         u"user"},
        {u"http://[::1]/", u"http://[::1]/", u"http", u"http://[::1]/", u"http://[::1]/", u"["},
        {u"http://", u"http://", u"http", u"http://", u"http://", u""},
        {u"http:///x", u"http:///x", u"http", u"http:///x", u"http:///x", u""},
        {u"http://\u0130.ΣΑΣ/", u"http://\u0130.ΣΑΣ/", u"http", u"http://\u0130.ΣΑΣ/", u"http://\u0130.ΣΑΣ/",
         u"i\u0307.σας"},
    };
    for (const AddressCase& row : rows) {
        SCOPED_TRACE(lossyUTF8String(row.text));
        EXPECT_EQ(br_validURLString(row.text), row.valid);
        EXPECT_EQ(br_stringByExtractingScheme(row.text), row.scheme);
        EXPECT_EQ(br_stringWithURLProtocol(row.text), row.withProtocol);
        EXPECT_EQ(br_stringByExtractingURI(row.text), row.uri);
        EXPECT_EQ(br_stringByExtractingFullDomain(row.text), row.fullDomain);
    }
}

TEST(NSStringBrimleURL, LoneSurrogatesAndZeroUnitsAreContent) {
    const String text = String(u"A") + char16_t(0xD800) + char16_t(0) + u"É/";
    EXPECT_EQ(br_stringByExtractingFullDomain(text), String(u"a") + char16_t(0xD800) + char16_t(0) + u"é");
    EXPECT_EQ(br_validURLString(text), u"http://" + text);
}

TEST(NSStringBrimleURL, EscapesAComponent) {
    EXPECT_EQ(br_stringAsValidURLString(u"a b/c?d=e"), u"a%20b%2Fc%3Fd%3De");
    EXPECT_EQ(br_stringAsValidURLString(u"=,!$&'()*+;@?\n\"<>#\t :/"),
              u"%3D%2C%21%24%26%27%28%29%2A%2B%3B%40%3F%0A%22%3C%3E%23%09%20%3A%2F");
    EXPECT_EQ(br_stringAsValidURLString(u"%[\\]^`{|}\x7F\uFFFC"), u"%25%5B%5C%5D%5E%60%7B%7C%7D%7F%EF%BF%BC");
    EXPECT_EQ(br_stringAsValidURLString(u""), u"");
    String kept;
    for (char16_t unit = 0; unit < 0x80; ++unit)
        if (br_stringAsValidURLString(String(1, unit)).size() == 1)
            kept.push_back(unit);
    EXPECT_EQ(kept, u"-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~");
}

TEST(NSStringBrimleURL, EscapesAnAddress) {
    EXPECT_EQ(br_stringAsHttpURLString(u"ä b"), u"%C3%A4%20b");
    EXPECT_EQ(br_stringAsHttpURLString(u""), u"");
    EXPECT_EQ(br_stringAsHttpURLString(u"http://u@[h]:1/a!*-.\\^_`|~\x7F"), u"http://u@[h]:1/a!*-.\\^_`|~\x7F");
    EXPECT_EQ(br_stringAsHttpURLString(u"100%"), u"100%25");
    EXPECT_EQ(br_stringAsHttpURLString(u"100%25"), u"100%2525"); // so it is not to be applied twice
    EXPECT_EQ(br_stringAsHttpURLString(u"\U0001F600\n"), u"%F0%9F%98%80%0A");
    EXPECT_EQ(br_stringAsHttpURLString(StringView(u"a\0b", 3)), u"a%00b");
    EXPECT_FALSE(br_stringAsHttpURLString(String{u'a', 0xD83D}));
    String escaped;
    for (char16_t unit = 0x20; unit < 0x80; ++unit)
        if (br_stringAsHttpURLString(String(1, unit))->size() == 3)
            escaped.push_back(unit);
    EXPECT_EQ(escaped, u" \"#$%&'()+,;<=>?{}");
}

} // namespace
} // namespace brimle
