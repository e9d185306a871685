#include "brimle/NSURL+Brimle.h"

#include "brimle/DRLogger.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>

namespace brimle {
namespace {

using platform::lossyUTF8String;
using platform::NSException;

struct Row {
    std::optional<StringView> text;
    std::optional<String> expected;
};

TEST(NSURLBrimle, MakesURLsOfAddresses) {
    const Row rows[] = {
        {std::nullopt, std::nullopt},
        {u"", std::nullopt},
        {u"example.org", u"http://example.org"},
        {u"example.org:443", u"https://example.org:443"},
        {u"example.org:443/a?b#c", u"https://example.org:443/a?b#c"},
        // What is valid is taken as it stands.
        {u"HTTP://Example.ORG", u"HTTP://Example.ORG"},
        {u"http://[::1]/", u"http://[::1]/"},
        {u"mailto://x", u"mailto://x"},
        // Rebuilt: escaped, everything between host and path dropped, the query part of the path.
        {u"http://example.org/a b", u"http://example.org/a%20b"},
        {u"example.org/a b", u"http://example.org/a%20b"},
        {u"http://example.org:8080/a b?c=d", u"http://example.org/a%20b%3Fc=d"},
        {u"http://example.org?q=a b/c", u"http://example.org/c"},
        {u"http://example.org/100%", u"http://example.org/100%25"},
        {u"http://münchen.de/", u"http://m%C3%BCnchen.de/"},
        // The host is looked for from the front of the whole address: "t" stands in "http".
        {u"http://t/a b", u"http://t//t/a%20b"},
        {u"http://user:p w@example.org/x", u"http://user/x"},
        // A host with capital letters is not found; what stands before "?" decides.
        {u"http://Example.org/a b", std::nullopt},
        {u"http://Example.org/a?b c", u"http://Example.org/a"},
        // No "/" behind the host.
        {u"http://example.org?a b", u"http://example.org"},
        {u"http://exam ple.org", std::nullopt},
        {u"http://münchen.de", std::nullopt},
        // Nothing to look for.
        {u"http:///a b", std::nullopt},
        {u"http://?a b/c", u"http://"},
        // No scheme that could be one.
        {u"://x", std::nullopt},
        {u"://x/y", std::nullopt},
        {u"a b://x/y?z", std::nullopt},
        {u" ", std::nullopt},
    };
    for (const Row& row : rows) {
        const auto url = br_URLWithString(row.text);
        EXPECT_EQ(url ? std::optional(url->absoluteString()) : std::nullopt, row.expected)
            << lossyUTF8String(row.text.value_or(u"(null)"));
    }
    // Bad text is no URL or a URL of its escapes; nothing is raised.
    EXPECT_FALSE(br_URLWithString(String{0xD800}));
    EXPECT_EQ(br_URLWithString(String{u'h', 0xD800, u'/'})->absoluteString(), u"http://h%EF%BF%BD/");
}

std::optional<NSURL> raise(StringView, StringView, StringView) {
    throw NSException(u"NSName", u"no such host");
}
std::optional<NSURL> raiseOther(StringView, StringView, StringView) {
    throw std::runtime_error("other");
}
std::optional<NSURL> refuse(StringView, StringView, StringView) {
    return std::nullopt;
}

class NSURLBrimleGuard : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "text-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(pattern.data()));
        folder = pattern;
        DRLogger::shutdown();
        DRLogger::setFileName(std::make_shared<const String>((folder / "log").u16string()));
    }
    void TearDown() override {
        DRLogger::shutdown();
        std::filesystem::remove_all(folder);
    }
    [[nodiscard]] std::string log() const {
        std::stringstream text;
        text << std::ifstream(folder / "log").rdbuf();
        return text.str();
    }
    std::filesystem::path folder;
};

TEST_F(NSURLBrimleGuard, LogsAPlatformExceptionAndGoesOn) {
    const auto url = br_URLWithString(u"http://example.org/a?b c", raise);
    ASSERT_TRUE(url);
    EXPECT_EQ(url->absoluteString(), u"http://example.org/a");
    EXPECT_NE(log().find("Exception caught in (Submodules/brimle-library/NSURL+Brimle:40): no such host\n\t"),
              std::string::npos)
        << log();
}

TEST_F(NSURLBrimleGuard, OtherExceptionsPropagate) {
    EXPECT_THROW((void)br_URLWithString(u"http://example.org/a b", raiseOther), std::runtime_error);
    EXPECT_EQ(log().find("Exception caught"), std::string::npos);
}

TEST_F(NSURLBrimleGuard, IsSilentWithoutAnException) {
    EXPECT_FALSE(br_URLWithString(u"http://example.org/a b", refuse));
    EXPECT_TRUE(br_URLWithString(u"http://example.org/a?b c", refuse));
    EXPECT_TRUE(br_URLWithString(u"http://example.org/", raise)); // valid as it stands: nothing is rebuilt
    EXPECT_EQ(log().find("Exception caught"), std::string::npos);
}

} // namespace
} // namespace brimle
