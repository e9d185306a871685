#include "TessaroThumbs/NSURLRequest+TS.h"

#include "Foundation/NSURLRequest.h"

#include <gtest/gtest.h>

namespace tessaro {
namespace {

using platform::NSURLRequest;

TEST(RequestAnswers, NoHostsCertificateIsExemptAndNoCookieIsKept) {
    const NSURLRequest::ClassOperations before = NSURLRequest::classOperations();
    NSURLRequest::setAllowsAnyHTTPSCertificate_forHost(true, u"trusted.example");
    ASSERT_TRUE(NSURLRequest::allowsAnyHTTPSCertificateForHost(u"trusted.example")) << "the class's own answer";
    ASSERT_TRUE(NSURLRequest::HTTPShouldHandleCookies()) << "the class's own answer";

    installRequestAnswers();
    const platform::StringView hosts[] = {u"trusted.example", u"page.example", u"localhost", u"", u"*", u"127.0.0.1"};
    for (const platform::StringView host : hosts) {
        const std::string name = platform::lossyUTF8String(host);
        EXPECT_FALSE(NSURLRequest::allowsAnyHTTPSCertificateForHost(host)) << name;
        for (const bool flag : {true, false, true}) {
            NSURLRequest::setAllowsAnyHTTPSCertificate_forHost(flag, host);
            EXPECT_FALSE(NSURLRequest::allowsAnyHTTPSCertificateForHost(host)) << name << flag;
        }
    }
    EXPECT_FALSE(NSURLRequest::HTTPShouldHandleCookies());

    // The setter did nothing, behind the replaced answers either.
    NSURLRequest::classOperations() = before;
    EXPECT_TRUE(NSURLRequest::allowsAnyHTTPSCertificateForHost(u"trusted.example"));
    EXPECT_FALSE(NSURLRequest::allowsAnyHTTPSCertificateForHost(u"page.example"));
    NSURLRequest::setAllowsAnyHTTPSCertificate_forHost(false, u"trusted.example");
}

} // namespace
} // namespace tessaro
