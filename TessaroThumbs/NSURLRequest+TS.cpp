#include "TessaroThumbs/NSURLRequest+TS.h"

#include "Foundation/NSURLRequest.h"

namespace tessaro {

void installRequestAnswers() {
    platform::NSURLRequest::classOperations() = {
        [](platform::StringView) { return false; }, // allowsAnyHTTPSCertificateForHost
        [](bool, platform::StringView) {},          // setAllowsAnyHTTPSCertificate_forHost: nobody can relax the check
        [] { return false; }};                      // HTTPShouldHandleCookies
}

} // namespace tessaro
