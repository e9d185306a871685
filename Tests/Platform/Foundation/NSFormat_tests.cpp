#include "Foundation/NSError.h"
#include "Foundation/NSException.h"
#include "Foundation/NSFormat.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(NSFormat, InsertsObjectsAndValues) {
    EXPECT_EQ(stringWithFormat("a %@ b", String(u"x")), u"a x b");
    EXPECT_EQ(stringWithFormat("%@:%@", std::optional<String>(), std::optional<String>(u"p")), u"(null):p");
    EXPECT_EQ(stringWithFormat("%@", std::shared_ptr<const String>()), u"(null)");
    EXPECT_EQ(stringWithFormat("%s #%s", "3.6", static_cast<const char*>(nullptr)), u"3.6 #(null)");
    EXPECT_EQ(stringWithFormat("%d %u %x", -5, 7u, 255), u"-5 7 ff");
    EXPECT_EQ(stringWithFormat("%llu bytes", 18446744073709551615ull), u"18446744073709551615 bytes");
    EXPECT_EQ(stringWithFormat("0x%08x|%-4d|%+d|%.1f MB", 5, 3, 3, 2.25), u"0x00000005|3   |+3|2.2 MB");
    EXPECT_EQ(stringWithFormat("100%%"), u"100%");
    EXPECT_EQ(stringWithFormat("%@", String(u"50% %@ %n")), u"50% %@ %n");
    EXPECT_EQ(stringWithFormat("%s", "h\xC3\xA9"), u"hé");
}

TEST(NSFormat, DescribesErrorsAndExceptions) {
    EXPECT_EQ(stringWithFormat("%@", NSError(NSPOSIXErrorDomain, ENOENT)),
              u"Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\"");
    EXPECT_EQ(stringWithFormat("%@", NSException(u"name", u"reason")), u"reason");
    EXPECT_FALSE(NSException(u"", u"r").callStackSymbols().empty());
}

struct RuntimeCase {
    const char16_t* format;
    const char16_t* expected;
};

TEST(NSFormat, RuntimeFormatsNeverMisreadAnArgument) {
    const FormatArgument arguments[] = {FormatArgument(200), FormatArgument(u"text")};
    const RuntimeCase rows[] = {
        {u"%d %@", u"200 text"},
        {u"%hhd", u"-56"},
        {u"%hhx %@", u"c8 text"},
        {u"%@", u"%@"},
        {u"%s", u"%s"},
        {u"%n", u"%n"},
        {u"%", u"%"},
        {u"%ll", u"%ll"},
        {u"%d %@ %d", u"200 text %d"},
        {u"%*d", u"%*d"},
        {u"é%dü", u"é200ü"},
        {u"%c", u"È"},
        {u"%é %d", u"%é 200"},
        {u"", u""},
        {u"%5d|", u"  200|"},
        {u"%05llx|", u"000c8|"},
    };
    for (const RuntimeCase& row : rows)
        EXPECT_EQ(stringWithRuntimeFormat(StringView(row.format), arguments), row.expected)
            << lossyUTF8String(row.format);
}

} // namespace
} // namespace platform
