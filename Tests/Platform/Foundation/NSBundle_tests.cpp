#include "Foundation/NSBundle.h"

#include "Foundation/NSFormat.h"
#include "Tests/Support/TemporaryFolder.h"

#include <clocale>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>

namespace platform {
namespace {

// A gettext catalogue as its manual describes the format: a header, two tables of (length, offset), the texts.
std::string catalogue(const std::map<std::string, std::string>& texts) {
    std::string tables;
    std::string data;
    const auto number = [](std::size_t value) {
        const auto word = static_cast<std::uint32_t>(value);
        return std::string(reinterpret_cast<const char*>(&word), sizeof word);
    };
    const std::size_t dataAt = 28 + 16 * texts.size();
    const auto add = [&](const std::string& text) {
        tables += number(text.size()) + number(dataAt + data.size());
        data += text + '\0';
    };
    for (const auto& [key, translation] : texts)
        add(key);
    for (const auto& [key, translation] : texts)
        add(translation);
    return number(0x950412de) + number(0) + number(texts.size()) + number(28) + number(28 + 8 * texts.size()) +
           number(0) + number(dataAt) + tables + data;
}

class NSBundleTest : public testing::Test {
protected:
    void SetUp() override {
        // The C library's own locales are all that every machine has; LANGUAGE chooses among catalogues.
        ASSERT_TRUE(std::setlocale(LC_ALL, "C.UTF-8"));
        setenv("LANGUAGE", "xx", 1);
        std::filesystem::create_directories(folder_ / "xx" / "LC_MESSAGES");
        std::ofstream(folder_ / "xx" / "LC_MESSAGES" / "app.mo", std::ios::binary)
            << catalogue({{"", "Content-Type: text/plain; charset=UTF-8\n"},
                          {"%llu KB", "%llu kB"},
                          {"%llu bytes", "%llu \xE5\xAD\x97"},
                          {"%.1f MB", "%s %n MB"},
                          {"%.1f GB", "%.2f GB"},
                          {"%d%% of %@", "%@: %d%%"},
                          {"%d of %@", "100%% %d/%@"}});
    }
    void TearDown() override {
        NSBundle::mainBundle().setLocalizations("", "");
        unsetenv("LANGUAGE");
        std::setlocale(LC_ALL, "C");
    }
    testing_support::TemporaryFolder folder_;
};

TEST_F(NSBundleTest, TranslatesOnceItHasACatalogue) {
    NSBundle& bundle = NSBundle::mainBundle();
    EXPECT_EQ(bundle.localizedStringForKey(u"%llu KB"), u"%llu KB");
    bundle.setLocalizations("app", (folder_ / "").string());
    EXPECT_EQ(bundle.localizedStringForKey(u"%llu KB"), u"%llu kB");
    EXPECT_EQ(bundle.localizedStringForKey(u"%llu bytes"), u"%llu \u5B57");
    EXPECT_EQ(bundle.localizedStringForKey(u"unknown"), u"unknown");
    EXPECT_EQ(bundle.localizedStringForKey(u""), u""); // not the catalogue's header
    EXPECT_EQ(bundle.localizedStringForKey(String(1, char16_t(0xD800))), String(1, char16_t(0xD800)));
}

TEST_F(NSBundleTest, RefusesTranslationsThatWouldMisreadTheirArguments) {
    NSBundle& bundle = NSBundle::mainBundle();
    bundle.setLocalizations("app", (folder_ / "").string());
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
    const std::string command = "localedef -i de_DE -f UTF-8 '" + (folder / "de_DE.UTF-8").string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0); // NOLINT(cert-env33-c): a fixed command
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
