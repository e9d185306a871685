#include "TessaroThumbs/initWebIconDatabase.h"

#include "Foundation/NSException.h"
#include "Foundation/NSObjCRuntime.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace tessaro {
namespace {

class IconDatabase : public testing::Test {
protected:
    ~IconDatabase() override { platform::registerClass(u"WebIconDatabase", {}); }
    std::vector<platform::String> selectors;
};

TEST_F(IconDatabase, IsAskedForItsSharedInstanceOnce) {
    platform::registerClass(u"WebIconDatabase",
                            [this](platform::StringView selector) { selectors.emplace_back(selector); });
    initWebIconDatabase();
    EXPECT_EQ(selectors, std::vector<platform::String>{u"sharedIconDatabase"});
}

TEST_F(IconDatabase, OfAnotherNameIsNotAsked) {
    platform::registerClass(u"WebIconDatabase2",
                            [this](platform::StringView selector) { selectors.emplace_back(selector); });
    initWebIconDatabase();
    EXPECT_TRUE(selectors.empty());
    platform::registerClass(u"WebIconDatabase2", {});
}

TEST_F(IconDatabase, MayBeMissing) {
    EXPECT_NO_THROW(initWebIconDatabase());
}

class DerivedException : public platform::NSException {
public:
    DerivedException() : NSException(u"Derived", u"reason") {}
};

TEST_F(IconDatabase, OnlyThePlatformsExceptionsAreSwallowed) {
    platform::registerClass(u"WebIconDatabase", [](platform::StringView) { throw platform::NSException(u"n", u"r"); });
    EXPECT_NO_THROW(initWebIconDatabase());
    platform::registerClass(u"WebIconDatabase", [](platform::StringView) { throw DerivedException(); });
    EXPECT_NO_THROW(initWebIconDatabase());
    platform::registerClass(u"WebIconDatabase", [](platform::StringView) { throw std::logic_error("other"); });
    EXPECT_THROW(initWebIconDatabase(), std::logic_error);
    platform::registerClass(u"WebIconDatabase", [](platform::StringView) { throw 7; });
    EXPECT_THROW(initWebIconDatabase(), int);
}

} // namespace
} // namespace tessaro
