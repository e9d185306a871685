// What a page can find out, ask for and leave behind: as little as possible.
#include "Harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace end_to_end {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr const char* userAgent = "Mozilla/5.0 (Macintosh; U; Intel Mac OS X 10_5_8; fi-fi) AppleWebKit/531.9 "
                                  "(KHTML, like Gecko) Version/4.0.3 Safari/531.9";

std::vector<std::string> requestLines() {
    std::vector<std::string> lines;
    for (const Request& request : Site::shared().requests())
        lines.push_back(request.line);
    return lines;
}

class Silence : public testing::Test {
protected:
    void capture(const std::string& path) {
        Site::shared().forgetRequests();
        Capture capture(Site::shared().url(path));
        capture.finish();
        EXPECT_EQ(capture.complaints(), "") << path;
        EXPECT_TRUE(capture.hasRecord()) << path;
    }
};

TEST_F(Silence, ScriptDialogsAreAnsweredAtOnce) {
    capture("/dialogs.html");
    for (const char* line : {"GET /beacon?alert=undefined", "GET /beacon?confirm=false", "GET /beacon?prompt=%22%22",
                             "GET /beacon?printed"})
        EXPECT_THAT(requestLines(), Contains(line));
}

TEST_F(Silence, APageGetsNoWindowsAndCannotTouchItsOwn) {
    capture("/windows.html");
    EXPECT_THAT(requestLines(), Contains("GET /beacon?opened=false&size=955x730"));
    EXPECT_THAT(requestLines(), Not(Contains("GET /beacon?opened-window")));
}

TEST_F(Silence, WhatAUserWouldHaveToGrantIsRefused) {
    capture("/asks-permission.html");
    EXPECT_THAT(requestLines(), Contains("GET /beacon?asked-permissions"));
}

TEST_F(Silence, NothingThatAPageStoresStays) {
    // The check for files is in capture().
    capture("/storage.html");
    capture("/attachment.html");
}

TEST_F(Silence, TheUserAgentIsTheSameOnTheWireAndInThePage) {
    capture("/navigator.html");
    bool told = false;
    for (const Request& request : Site::shared().requests()) {
        ASSERT_TRUE(request.headers.contains("User-Agent")) << request.line;
        EXPECT_EQ(request.headers.at("User-Agent"), userAgent) << request.line;
        told |= request.line == "GET /beacon?agent=Mozilla%2F5.0%20(Macintosh%3B%20U%3B%20Intel%20Mac%20OS%20X%2010_5_8"
                                "%3B%20fi-fi)%20AppleWebKit%2F531.9%20(KHTML%2C%20like%20Gecko)%20Version%2F4.0.3%20"
                                "Safari%2F531.9&visible=visible&ratio=1&size=955x730";
    }
    EXPECT_TRUE(told) << testing::PrintToString(requestLines());
}

TEST_F(Silence, CookiesAreNeitherKeptNorSent) {
    for (int run = 0; run < 2; ++run) {
        capture("/cookie/set");
        EXPECT_THAT(requestLines(), Contains("GET /cookie/probe?seen=")) << "a script saw its cookie";
        EXPECT_THAT(requestLines(), Contains("GET /cookie/probe?picture"));
        for (const Request& request : Site::shared().requests())
            EXPECT_FALSE(request.headers.contains("Cookie")) << request.line << ": " << request.headers.at("Cookie");
    }
}

struct CertificateCase {
    const char* server;
    bool trustsAuthority;
    bool record;
};

TEST(Certificates, AreCheckedAgainstTheMachinesAuthorities) {
    const CertificateCase rows[] = {
        {"https", true, true},        {"https", false, false},    {"selfSigned", true, false},
        {"selfSigned", false, false}, {"wrongHost", true, false}, {"wrongHost", false, false},
    };
    for (const CertificateCase& row : rows) {
        CaptureOptions options;
        // The machine's own list of authorities, replaced for this one process and its children.
        if (row.trustsAuthority)
            options.process.wrapper = {"bwrap",
                                       "--dev-bind",
                                       "/",
                                       "/",
                                       "--ro-bind",
                                       Site::shared().authority(),
                                       "/etc/ssl/certs/ca-certificates.crt"};
        const std::string address = Site::shared().secureURL(row.server, "/plain.html");
        Capture capture(address, options);
        capture.finish();
        const std::string name = std::string(row.server) + (row.trustsAuthority ? ", trusted" : "");
        EXPECT_EQ(capture.complaints(), "") << name;
        EXPECT_EQ(capture.hasRecord(), row.record) << name;
        if (!row.record) {
            EXPECT_THAT(capture.log(), Contains("Failed to process '" + address + "'")) << name;
        }
    }
}

TEST(Sandbox, IsNeededUnlessTheEngineIsToldOtherwise) {
    CaptureOptions options;
    options.process.wrapper = {"bwrap", "--dev-bind", "/", "/", "--ro-bind", "/bin/false", "/usr/bin/bwrap"};
    Capture refused(Site::shared().url("/plain.html"), options);
    refused.finish();
    EXPECT_EQ(refused.complaints(), "");
    EXPECT_EQ(refused.result().output, "");
    EXPECT_THAT(refused.result().errors, HasSubstr("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS=1"));

    options.process.environment["WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS"] = "1";
    Capture allowed(Site::shared().url("/plain.html"), options);
    allowed.finish();
    EXPECT_EQ(allowed.complaints(), "");
    EXPECT_TRUE(allowed.hasRecord());
}

} // namespace
} // namespace end_to_end
