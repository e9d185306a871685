#include "Foundation/NSArrayDescription.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

struct Row {
    std::vector<String> texts;
    const char16_t* expected;
};

TEST(NSArrayDescription, PrintsOneElementALine) {
    const Row rows[] = {
        {{}, u"(\n)"},
        {{u"true"}, u"(\n    true\n)"},
        {{u"-c", u"a1"}, u"(\n    \"-c\",\n    a1\n)"},
        {{u""}, u"(\n    \"\"\n)"},
        {{u"a b", u"/bin", u"a_b", u"1.0"}, u"(\n    \"a b\",\n    \"/bin\",\n    \"a_b\",\n    \"1.0\"\n)"},
        {{u"q\"\\\n\t"}, u"(\n    \"q\\\"\\\\\\n\\t\"\n)"},
        {{u"é日\xD800"}, u"(\n    \"\\U00e9\\U65e5\\Ud800\"\n)"},
        {{u"\x01\x7F"}, u"(\n    \"\\001\\177\"\n)"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(descriptionOfArray(row.texts), row.expected) << lossyUTF8String(row.expected);
}

} // namespace
} // namespace platform
