#include "Foundation/NSUserDefaults.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

struct ArgumentCase {
    const char* name;
    std::vector<const char*> arguments; // behind the program's name
    std::optional<String> url;
    std::optional<String> uuid;
};

TEST(NSUserDefaults, ReadsTheArgumentDomain) {
    const ArgumentCase rows[] = {
        {"both", {"-url", "http://a/", "-uuid", "7"}, u"http://a/", u"7"},
        {"other order", {"-uuid", "7", "-url", "http://a/"}, u"http://a/", u"7"},
        {"none", {}, {}, {}},
        {"key without a value", {"-url"}, {}, {}},
        {"key before a key", {"-url", "-uuid", "7"}, {}, u"7"},
        {"empty value", {"-url", ""}, u"", {}},
        {"stray words are passed over", {"x", "-url", "a", "y", "z", "-uuid", "7", "w"}, u"a", u"7"},
        {"the last one wins", {"-url", "a", "-url", "b"}, u"b", {}},
        {"also when it is a property list", {"-url", "a", "-url", "(b)"}, {}, {}},
        {"two dashes are another key", {"--url", "a"}, {}, {}},
        {"no dash", {"url", "a"}, {}, {}},
        {"a single dash is a key of no letters", {"-", "-url", "a"}, u"a", {}},
        {"capitals count", {"-URL", "a"}, {}, {}},
        {"parenthesis", {"-url", "(a)", "-uuid", "{a=1;}"}, {}, {}},
        {"data", {"-url", "<00>", "-uuid", "a<"}, {}, u"a<"},
        {"UTF-8", {"-url", "h\xC3\xA9"}, u"h\u00E9", {}},
        {"Latin 1", {"-url", "h\xE9"}, u"h\u00E9", {}},
        {"equals sign is no separator", {"-url=a", "b"}, {}, {}},
    };
    for (const ArgumentCase& row : rows) {
        std::vector<const char*> words{"-url"}; // the program's own name is never a key
        words.insert(words.end(), row.arguments.begin(), row.arguments.end());
        NSUserDefaults::standardUserDefaults().setArguments(words);
        const VolatileDomain domain = NSUserDefaults::standardUserDefaults().volatileDomainForName(NSArgumentDomain);
        EXPECT_EQ(domain.stringForKey(u"url"), row.url) << row.name;
        EXPECT_EQ(domain.stringForKey(u"uuid"), row.uuid) << row.name;
    }
}

TEST(NSUserDefaults, KeepsWhatIsNoString) {
    const char* words[] = {"program", "-url", "(a, b)"};
    NSUserDefaults::standardUserDefaults().setArguments(words);
    const auto domain = NSUserDefaults::standardUserDefaults().volatileDomainForName(NSArgumentDomain);
    EXPECT_EQ(domain.objectForKey(u"url"), VolatileDomain::Object(OpaquePropertyList{u"(a, b)"}));
    EXPECT_EQ(domain.count(), 1u);
}

TEST(NSUserDefaults, HasNoOtherDomain) {
    const char* words[] = {"program", "-url", "a"};
    NSUserDefaults::standardUserDefaults().setArguments(words);
    EXPECT_EQ(NSUserDefaults::standardUserDefaults().volatileDomainForName(u"NSRegistrationDomain").count(), 0u);
    NSUserDefaults::standardUserDefaults().setArguments({});
    EXPECT_EQ(NSUserDefaults::standardUserDefaults().volatileDomainForName(NSArgumentDomain).count(), 0u);
}

} // namespace
} // namespace platform
