#include "Foundation/NSDictionary.h"

#include <gmock/gmock.h>

namespace platform {
namespace {

using testing::ElementsAre;

TEST(NSDictionary, KeepsTextsAndNumbersInTheOrderOfTheirKeys) {
    NSMutableDictionary dictionary;
    dictionary.setObject_forKey(String(u"text"), u"b");
    dictionary.setObject_forKey(NSNumber(-3), u"a");
    EXPECT_THAT(dictionary.allKeys(), ElementsAre(u"b", u"a"));
    EXPECT_EQ(dictionary.stringForKey(u"b"), u"text");
    EXPECT_EQ(dictionary.numberForKey(u"a"), -3);
    EXPECT_EQ(dictionary.numberForKey(u"b"), std::nullopt) << "a text is no number";
    EXPECT_EQ(dictionary.stringForKey(u"a"), std::nullopt);
    EXPECT_EQ(dictionary.objectForKey(u"c"), nullptr);
    dictionary.setObject_forKey(NSNumber(4), u"b");
    EXPECT_THAT(dictionary.allKeys(), ElementsAre(u"b", u"a"));
    EXPECT_EQ(dictionary.numberForKey(u"b"), 4);
    EXPECT_EQ(dictionary.count(), 2u);
}

TEST(NSDictionary, ComparesKeysAndValues) {
    const NSDictionary one = {{u"k", String(u"v")}};
    EXPECT_EQ(one, (NSDictionary{{u"k", String(u"v")}}));
    EXPECT_NE(one, (NSDictionary{{u"k", String(u"w")}}));
    EXPECT_NE(one, (NSDictionary{{u"j", String(u"v")}}));
    EXPECT_NE(one, NSDictionary());
}

} // namespace
} // namespace platform
