// What becomes of a load: one row an address. The log tells which events the run went through.
#include "Harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace end_to_end {
namespace {

using Pixel = platform::NSBitmapImageRep::Pixel;
using Log = std::vector<std::string>;

constexpr Pixel blue = 0xFF336699;
constexpr Pixel white = 0xFFFFFFFF;

std::string loading(const std::string& path) {
    return "Loading: '" + path + "'";
}
std::string failed(const std::string& path) {
    return "Failed to process '" + path + "'";
}
const std::string cancelled = "Received NSURLErrorCancelled, probably a redirect";
const std::string finished = "webView:didFinishForFrame:";
const std::string challenged = "didReceiveAuthenticationChallenge: the test realm";

struct PageCase {
    std::string address; // a path of the test site, or a whole address
    Log log;             // between the banner and "saveThumb"
    bool record = false;
    std::optional<Pixel> colour = std::nullopt; // near the picture's lower right corner
};

void PrintTo(const PageCase& row, std::ostream* stream) {
    *stream << row.address;
}

std::string addressOf(const std::string& text) {
    return text.starts_with('/') ? Site::shared().url(text) : text;
}

class Pages : public testing::TestWithParam<PageCase> {};

TEST_P(Pages, EndAsTheyShould) {
    const PageCase& row = GetParam();
    Capture capture(addressOf(row.address));
    capture.finish();
    EXPECT_EQ(capture.complaints(), "");
    Log expected = row.log;
    const auto record = capture.record();
    ASSERT_EQ(record.has_value(), row.record) << capture.result().errors;
    if (record) {
        expected.emplace_back("saveThumb");
        expected.push_back("uuid = x, l = " + std::to_string(record->large.size()) + ", m = 0, s = 0");
        EXPECT_TRUE(record->small.empty());
        EXPECT_TRUE(record->medium.empty());
        const auto picture = capture.picture();
        EXPECT_EQ(picture.pixelsWide(), 301);
        EXPECT_EQ(picture.pixelsHigh(), 226);
        if (row.colour) {
            EXPECT_EQ(describe(picture.pixelAt(290, 215)), describe(*row.colour));
        }
    }
    Log log = capture.log();
    ASSERT_FALSE(log.empty());
    EXPECT_THAT(log[0], testing::StartsWith("Starting TessaroThumbs 3.6.0 #31043 built "));
    log.erase(log.begin());
    // Whether a load is still under way when the page's next one takes its place is a matter of microseconds there.
    if (std::string_view(row.address).starts_with("/replaces-itself"))
        std::erase(log, cancelled);
    EXPECT_EQ(log, expected);
}

Log finish(const std::string& path) {
    return {loading(path), finished};
}
Log failure(const std::string& path) {
    return {loading(path), failed(path)};
}

const PageCase loads[] = {
    {"/plain.html", finish("/plain.html"), true, blue},
    {"/status/404", finish("/status/404"), true, white},
    {"/status/500", finish("/status/500"), true, white},
    {"/empty", finish("/empty"), true, white},
    {"/blank.html", finish("/blank.html"), true, white},
    {"/tall.html", finish("/tall.html"), true, blue},
    {"/wide.html", finish("/wide.html"), true, blue},
    {"/frames-that-fail.html", finish("/frames-that-fail.html"), true, blue},
    {"/document-write.html", finish("/document-write.html"), true, 0xFF993366},
    {"/late.html", finish("/late.html"), true, 0xFF00FF00},
    {"/lazy.html", finish("/lazy.html"), true, 0xFFD03020},
    {"/scrollbars.html", finish("/scrollbars.html"), true, blue},
    {"/plain.html?delay=1500", finish("/plain.html?delay=1500"), true, blue},
    // Schemes and hosts of which nothing comes.
    {"/status/204", failure("/status/204")},
    {"/archive.zip", failure("/archive.zip")},
    {"/unknown-type", failure("/unknown-type")},
    {"/attachment", failure("/attachment")},
    {"/close/before", failure("/close/before")},
    {"/close/headers", failure("/close/headers")},
    {"/close/body", {loading("/close/body"), failed("(null)")}},
    {"http://127.0.0.1:4/", failure("http://127.0.0.1:4/")},   // nobody listens there
    {"http://127.0.0.1:25/", failure("http://127.0.0.1:25/")}, // a port that browsers do not talk to
    {"http://nowhere.invalid/", failure("http://nowhere.invalid/")},
    {"nobody-knows-this://scheme/", failure("nobody-knows-this://scheme/")},
    {"/redirect?to=http://nowhere.invalid/",
     {loading("/redirect?to=http://nowhere.invalid/"), failed("http://nowhere.invalid/")}},
};
INSTANTIATE_TEST_SUITE_P(Loads, Pages, testing::ValuesIn(loads));

const PageCase redirects[] = {
    {"/redirect/chain/1", finish("/redirect/chain/1"), true, blue},
    {"/redirect/chain/5", finish("/redirect/chain/5"), true, blue},
    {"/redirect?status=301", finish("/redirect?status=301"), true, blue},
    {"/redirect?status=307", finish("/redirect?status=307"), true, blue},
    {"/meta-refresh.html", {loading("/meta-refresh.html"), loading("/plain.html"), finished}, true, blue},
    {"/script-redirect-before.html",
     {loading("/script-redirect-before.html"), cancelled, loading("/plain.html"), finished},
     true,
     blue},
    {"/script-redirect-after.html",
     {loading("/script-redirect-after.html"), loading("/plain.html"), finished},
     true,
     blue},
    {"/before-unload.html", {loading("/before-unload.html"), loading("/plain.html"), finished}, true, blue},
    {"/redirect-to-odd-address.html",
     {loading("/redirect-to-odd-address.html"), loading("/plain.html?%7Ba%7D%7Cb%5Ec#d"), finished},
     true,
     blue},
    {"/replaces-itself.html",
     {loading("/replaces-itself.html"), loading("/replaces-itself.html?1"), loading("/replaces-itself.html?2"),
      loading("/replaces-itself.html?3"), finished},
     true,
     blue},
};
INSTANTIATE_TEST_SUITE_P(Redirects, Pages, testing::ValuesIn(redirects));

const PageCase challenges[] = {
    {"/auth/basic", {loading("/auth/basic"), challenged}, true, white},
    {"/auth/digest", {loading("/auth/digest"), challenged}, true, white},
    {"/challenge-image.html", {loading("/challenge-image.html"), challenged}, true},
    {"/challenge-frame.html", {loading("/challenge-frame.html"), challenged}, true},
    // Challenges that the engine does not answer are pages.
    {"/auth/bearer", finish("/auth/bearer"), true, white},
    {"/auth/none", finish("/auth/none"), true, white},
};
INSTANTIATE_TEST_SUITE_P(Challenges, Pages, testing::ValuesIn(challenges));

TEST(Pages, ARedirectToAFileEndsTheRun) {
    Capture capture(Site::shared().url("/redirect?to=file:///etc/hostname"));
    capture.finish();
    EXPECT_EQ(capture.complaints(), "");
    EXPECT_EQ(capture.result().output, "");
}

struct IconCase {
    std::string link; // the icon's address
    int side;         // of the small image's largest page; 0: there is none
    Pixel colour = 0;
};

void PrintTo(const IconCase& row, std::ostream* stream) {
    *stream << row.link;
}

class Icons : public testing::TestWithParam<IconCase> {};

std::optional<platform::NSBitmapImageRep> smallImage(const Capture& capture) {
    return platform::NSBitmapImageRep::imageRepWithData(capture.record()->small);
}

TEST_P(Icons, BecomeTheSmallImage) {
    const IconCase& row = GetParam();
    Capture capture(Site::shared().url("/with-icon?href=" + row.link));
    capture.finish();
    EXPECT_EQ(capture.complaints(), "");
    ASSERT_TRUE(capture.hasRecord()) << capture.result().errors;
    const auto small = smallImage(capture);
    ASSERT_EQ(small.has_value(), row.side > 0);
    if (small) {
        EXPECT_EQ(small->pixelsWide(), row.side);
        EXPECT_EQ(small->pixelsHigh(), row.side);
        EXPECT_EQ(describe(small->pixelAt(1, 1)), describe(row.colour));
    }
}

const IconCase icons[] = {
    {"/icons/icon.png", 32, 0xFFD03020},
    {"/icons/multi.ico", 48, 0xFF2050C0},
    {"/icons/icon.png?delay=1000", 32, 0xFFD03020},
    {"/redirect?to=/icons/icon.png", 32, 0xFFD03020},
    {"/redirect?to=/icons/icon.png%3Fdelay=1000", 32, 0xFFD03020},
    {"/icons/icon.png?delay=5000", 0}, // nothing is waited for that long
    {"/icons/icon.svg", 0},
    {"/icons/empty.png", 0},
    {"/icons/broken.png", 0},
    {"/icons/missing.png", 0},
    {"/status/204", 0},
    {"/close/headers", 0},
    {"/close/body", 0},
    {"/auth/basic", 0},
    {"/plain.html", 0},
    {"data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5Er"
     "kJggg==",
     0},
};
INSTANTIATE_TEST_SUITE_P(Links, Icons, testing::ValuesIn(icons));

} // namespace
} // namespace end_to_end
