#include "Foundation/NSURLPath.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

struct Row {
    const char16_t* url;
    const char16_t* expected;
};

TEST(NSURLPath, DeletesTheLastComponent) {
    const Row rows[] = {
        {u"file:///a/b.txt", u"file:///a/"},
        {u"file:///a/b/", u"file:///a/"},
        {u"file:///a/b///", u"file:///a/"},
        {u"file:///a", u"file:///"},
        {u"file:///", u"file:///"},
        {u"file://", u"file://"},
        {u"file:/a/b", u"file:/a/"},
        {u"file://localhost/a/b%20c", u"file://localhost/a/"},
        {u"file:///a/b%2Fc", u"file:///a/"},
        {u"file:///a/b?q=/x#/y", u"file:///a/"},
        {u"http://example.org", u"http://example.org"},
        {u"http://example.org/", u"http://example.org/"},
        {u"//example.org", u"//example.org"},
        {u"a/b", u"a/"},
        {u"a/b:c", u"a/"},
        {u"mailto:a@example.org", u"mailto:a@example.org"},
    };
    for (const Row& row : rows) {
        const auto url = NSURL::URLWithString(row.url);
        ASSERT_TRUE(url) << lossyUTF8String(row.url);
        EXPECT_EQ(URLByDeletingLastPathComponent(*url).absoluteString(), row.expected) << lossyUTF8String(row.url);
    }
}

} // namespace
} // namespace platform
