#include "Foundation/CFPreferences.h"
#include "TessaroThumbs/isPreferenceSet.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tessaro {
namespace {

using testing_support::EnvironmentVariable;
using testing_support::TemporaryFolder;

class Preferences : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path file() const {
        return home_.path() / "Library/Preferences" / (platform::lossyUTF8String(applicationIdentifier) + ".plist");
    }
    void writeXML(const std::string& element) {
        testing_support::write(file(), "<plist version=\"1.0\"><dict><key>Flag</key>" + element + "</dict></plist>");
    }
    void writeBinary(const std::string& object) {
        const std::string objects = std::string("\xD1\x01\x02", 3) +
                                    "\x54"
                                    "Flag" +
                                    object;
        const std::string trailer("\0\0\0\0\0\0\1\1"
                                  "\0\0\0\0\0\0\0\3"
                                  "\0\0\0\0\0\0\0\0"
                                  "\0\0\0\0\0\0\0",
                                  31);
        const std::string whole = "bplist00" + objects + "\x08\x0B\x10";
        testing_support::write(file(), whole + trailer + static_cast<char>(8 + objects.size()));
    }

    TemporaryFolder home_;
    EnvironmentVariable variable_{"HOME", home_.path().c_str()};
};

struct FlagCase {
    const char* element;
    bool set;
};

TEST_F(Preferences, XMLValues) {
    const FlagCase rows[] = {
        {"<integer>1</integer>", true},
        {"<integer>2147483647</integer>", true},
        {"<integer>0</integer>", false},
        {"<integer>-1</integer>", false},
        {"<integer>4294967296</integer>", false},
        {"<integer>4294967297</integer>", true},
        {"<integer>2147483648</integer>", false},
        {"<integer>18446744073709551615</integer>", false},
        {"<string>1</string>", false},
        {"<string>YES</string>", false},
        {"<string></string>", false},
        {"<true/>", false},
        {"<real>1</real>", false},
        {"<data>AQ==</data>", false},
        {"<array><integer>1</integer></array>", false},
        {"<dict/>", false},
        {"<date>2011-06-20T13:42:56Z</date>", false},
    };
    for (const FlagCase& row : rows) {
        writeXML(row.element);
        EXPECT_EQ(isPreferenceSet(u"Flag"), row.set) << row.element;
    }
}

struct BinaryCase {
    const char* name;
    std::string object;
    bool set;
};

TEST_F(Preferences, BinaryValues) {
    using namespace std::string_literals;
    const BinaryCase rows[] = {
        {"1", "\x10\x01"s, true},
        {"0", "\x10\x00"s, false},
        {"one byte is unsigned", "\x10\xFF"s, true},
        {"2147483648", "\x12\x80\x00\x00\x00"s, false},
        {"2147483647", "\x12\x7F\xFF\xFF\xFF"s, true},
        {"4294967297", "\x13\x00\x00\x00\x01\x00\x00\x00\x01"s, true},
        {"4294967296", "\x13\x00\x00\x00\x01\x00\x00\x00\x00"s, false},
        {"-1", "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, false},
        {"true", "\x09"s, false},
        {"real", "\x23\x3F\xF0\x00\x00\x00\x00\x00\x00"s, false},
        {"text",
         "\x51"
         "1"s,
         false},
    };
    for (const BinaryCase& row : rows) {
        writeBinary(row.object);
        EXPECT_EQ(isPreferenceSet(u"Flag"), row.set) << row.name;
    }
}

TEST_F(Preferences, IsReadAfreshAtEveryTest) {
    EXPECT_FALSE(isPreferenceSet(u"Flag"));
    EXPECT_TRUE(std::filesystem::is_empty(home_.path())) << "reading makes no file";
    writeXML("<integer>1</integer>");
    EXPECT_TRUE(isPreferenceSet(u"Flag"));
    EXPECT_FALSE(isPreferenceSet(u"flag"));
    EXPECT_FALSE(isPreferenceSet(u"Flag "));
    writeXML("<integer>0</integer>");
    EXPECT_FALSE(isPreferenceSet(u"Flag"));
    writeBinary("\x10\x07");
    EXPECT_TRUE(isPreferenceSet(u"Flag"));
    std::filesystem::remove(file());
    EXPECT_FALSE(isPreferenceSet(u"Flag"));
}

TEST_F(Preferences, ADamagedFileMeansNotSet) {
    writeXML("<integer>1</integer>");
    const std::string whole = testing_support::contentsOf(file());
    for (const std::string& contents : {std::string(), whole.substr(0, whole.size() / 2), whole + "x",
                                        "<array/>" + whole, std::string("<plist><integer>1</integer></plist>")}) {
        testing_support::write(file(), contents);
        EXPECT_FALSE(isPreferenceSet(u"Flag")) << contents;
    }
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());
    EXPECT_FALSE(isPreferenceSet(u"Flag")) << "a folder";
    std::filesystem::remove(file());
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(isPreferenceSet(u"Flag")) << "a pipe that nobody writes to";
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

TEST_F(Preferences, TheOutFlagTellsWhatWasThere) {
    bool valid = true;
    writeXML("<string>1</string>");
    EXPECT_TRUE(platform::CFPreferencesAppSynchronize(applicationIdentifier));
    EXPECT_EQ(platform::CFPreferencesGetAppIntegerValue(u"Flag", applicationIdentifier, &valid), 0);
    EXPECT_FALSE(valid);
    writeXML("<integer>4294967301</integer>");
    EXPECT_TRUE(platform::CFPreferencesAppSynchronize(applicationIdentifier));
    EXPECT_EQ(platform::CFPreferencesGetAppIntegerValue(u"Flag", applicationIdentifier, &valid), 4294967301);
    EXPECT_TRUE(valid);
    EXPECT_EQ(platform::CFPreferencesGetAppIntegerValue(u"Flag", applicationIdentifier, nullptr), 4294967301);
    EXPECT_FALSE(platform::CFPreferencesAppSynchronize(u"org.example.absent"));
    EXPECT_EQ(platform::CFPreferencesGetAppIntegerValue(u"Flag", u"org.example.absent", &valid), 0);
    EXPECT_FALSE(valid);
}

} // namespace
} // namespace tessaro
