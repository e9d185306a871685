#include "brimle/NSString+BrimleData.h"

#include "Tests/Support/LogFile.h"

#include <gtest/gtest.h>

namespace brimle {
namespace {

using platform::charactersAsBytes;
using testing_support::LogFile;

struct Row {
    std::string_view bytes;
    StringView expected;
};

TEST(NSStringBrimleData, ReadsBytes) {
    const Row rows[] = {
        {"", u""},
        {"plain", u"plain"},
        {"h\xC3\xA9", u"h\u00E9"},
        {"\xF0\x9F\x98\x80", u"\U0001F600"},
        {std::string_view("a\0b", 3), StringView(u"a\0b", 3)},
        // What is not strictly UTF-8 is Latin 1 as a whole, its well-formed parts included.
        {"h\xE9", u"h\u00E9"},
        {"\xC3\xA9\xFF", u"\u00C3\u00A9\u00FF"},
        {"\xC0\x80", u"\u00C0\u0080"},
        {"\xED\xA0\x80", u"\u00ED\u00A0\u0080"},
        {"\xF4\x90\x80\x80", u"\u00F4\u0090\u0080\u0080"},
        {"\xE2\x82", u"\u00E2\u0082"},
        {"\xEF\xBB\xBFx", u"\uFEFFx"},
    };
    for (const Row& row : rows) {
        const DataView data = charactersAsBytes(row.bytes);
        EXPECT_EQ(br_utf8stringWithData(data), row.expected) << row.bytes;
        EXPECT_EQ(br_asString(data), row.expected) << row.bytes;
        EXPECT_EQ(br_stringWithData(data), row.expected) << row.bytes;
        EXPECT_EQ(br_utf8stringWithBytes_length(data.data(), static_cast<std::int32_t>(data.size())), row.expected);
        if (row.bytes.find('\0') == std::string_view::npos) {
            EXPECT_EQ(br_utf8stringWithCString(std::string(row.bytes).c_str()), row.expected) << row.bytes;
        }
    }
}

TEST(NSStringBrimleData, AbsentAndEmptyInputs) {
    EXPECT_FALSE(br_utf8stringWithData(std::nullopt));
    EXPECT_EQ(br_utf8stringWithCString(nullptr), u"");
    EXPECT_EQ(br_utf8stringWithCString(""), u"");
    EXPECT_EQ(br_utf8stringWithBytes_length(nullptr, 5), u"");
    EXPECT_EQ(br_utf8stringWithBytes_length("abc", 0), u"");
    EXPECT_EQ(br_utf8stringWithBytes_length("abc", -1), u"");
    EXPECT_EQ(br_utf8stringWithBytes_length("abc", 2), u"ab");
}

std::optional<String> refuse(std::string_view) {
    return std::nullopt;
}

TEST(NSStringBrimleData, LogsWhatNoEncodingFits) {
    constexpr TextDecoder none[] = {refuse, refuse};
    const LogFile log;
    EXPECT_FALSE(br_utf8stringWithData(charactersAsBytes("abc"), none));
    EXPECT_FALSE(br_utf8stringWithCString("a\xC3\xA9", none));
    EXPECT_FALSE(br_utf8stringWithBytes_length("abcd", 4, none));
    EXPECT_EQ(br_utf8stringWithCString(nullptr, none), u"");
    EXPECT_FALSE(br_asData(String{u'x', 0xDFFF}));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"br_utf8stringWithData failed to produce UTF string from 3 bytes",
                                        "br_utf8stringWithCString failed to produce UTF string from 'a\xC3\xA9'",
                                        "br_utf8stringWithData failed to produce UTF string from 4 bytes",
                                        "br_asData failed to obtain UTF8String from NSString"}));
}

TEST(NSStringBrimleData, TriesEncodingsInOrder) {
    constexpr TextDecoder later[] = {refuse, platform::stringWithASCII};
    EXPECT_EQ(br_utf8stringWithCString("abc", later), u"abc");
    ASSERT_EQ(textDecoders().size(), 3u);
    EXPECT_EQ(textDecoders()[0]("\xC3\xA9"), u"\u00E9");
    EXPECT_EQ(textDecoders()[1]("\xC3\xA9"), u"\u00C3\u00A9");
    EXPECT_EQ(textDecoders()[2]("\xC3\xA9"), std::nullopt);
    EXPECT_EQ(textDecoders()[2]("ab"), u"ab");
}

TEST(NSStringBrimleData, WritesBytes) {
    const auto bytes = [](std::string_view text) { return Data(text.begin(), text.end()); };
    EXPECT_EQ(br_asData(u""), Data());
    EXPECT_EQ(br_asData(u"h\u00E9\U0001F600"), bytes("h\xC3\xA9\xF0\x9F\x98\x80"));
    EXPECT_EQ(br_asData(StringView(u"ab\0cd", 5)), bytes("ab"));
    EXPECT_EQ(br_asData(StringView(u"\0", 1)), Data());
}

} // namespace
} // namespace brimle
