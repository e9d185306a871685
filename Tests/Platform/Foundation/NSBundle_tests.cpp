#include "Foundation/NSBundle.h"

#include "Foundation/NSFormat.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/Translations.h"

#include <clocale>
#include <cstdlib>
#include <gtest/gtest.h>

namespace platform {
namespace {

class NSBundleTest : public testing::Test {
protected:
    void TearDown() override { NSBundle::mainBundle().setLocalizations("", ""); }

    testing_support::Translations translations_{{{"", "Content-Type: text/plain; charset=UTF-8\n"},
                                                 {"%llu KB", "%llu kB"},
                                                 {"%llu bytes", "%llu \xE5\xAD\x97"},
                                                 {"%.1f MB", "%s %n MB"},
                                                 {"%.1f GB", "%.2f GB"},
                                                 {"%d%% of %@", "%@: %d%%"},
                                                 {"%d of %@", "100%% %d/%@"}}};
};

TEST_F(NSBundleTest, TranslatesOnceItHasACatalogue) {
    NSBundle& bundle = NSBundle::mainBundle();
    EXPECT_EQ(bundle.localizedStringForKey(u"%llu KB"), u"%llu KB");
    bundle.setLocalizations("app", translations_.folder());
    EXPECT_EQ(bundle.localizedStringForKey(u"%llu KB"), u"%llu kB");
    EXPECT_EQ(bundle.localizedStringForKey(u"%llu bytes"), u"%llu \u5B57");
    EXPECT_EQ(bundle.localizedStringForKey(u"unknown"), u"unknown");
    EXPECT_EQ(bundle.localizedStringForKey(u""), u""); // not the catalogue's header
    EXPECT_EQ(bundle.localizedStringForKey(String(1, char16_t(0xD800))), String(1, char16_t(0xD800)));
}

TEST_F(NSBundleTest, RefusesTranslationsThatWouldMisreadTheirArguments) {
    NSBundle& bundle = NSBundle::mainBundle();
    bundle.setLocalizations("app", translations_.folder());
    EXPECT_EQ(bundle.localizedFormatForKey(u"%llu KB"), u"%llu kB");
    EXPECT_EQ(bundle.localizedStringForKey(u"%.1f MB"), u"%s %n MB");
    EXPECT_EQ(bundle.localizedFormatForKey(u"%.1f MB"), u"%.1f MB");
    EXPECT_EQ(bundle.localizedFormatForKey(u"%.1f GB"), u"%.1f GB");
    EXPECT_EQ(bundle.localizedFormatForKey(u"%d%% of %@"), u"%d%% of %@"); // another order
    EXPECT_EQ(bundle.localizedFormatForKey(u"%d of %@"), u"100%% %d/%@");  // a per cent sign is no conversion
}

TEST(NSFormatNumbers, LookTheSameInEveryLocale) {
    // A locale with a decimal comma and grouped thousands, made here: few machines have one.
    const testing_support::TemporaryFolder folder;
    const auto made =
        testing_support::run("localedef", {"-i", "de_DE", "-f", "UTF-8", (folder / "de_DE.UTF-8").string()});
    ASSERT_EQ(made.status, 0) << made.errors;
    setenv("LOCPATH", (folder / "").c_str(), 1);
    ASSERT_TRUE(std::setlocale(LC_ALL, "de_DE.UTF-8"));
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
    EXPECT_EQ(stringWithFormat("%.1f %'d", 1234.5, 1234567), u"1234.5 1234567");
    EXPECT_STREQ(std::localeconv()->decimal_point, ","); // and the process's locale is left as it was
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
}

} // namespace
} // namespace platform
