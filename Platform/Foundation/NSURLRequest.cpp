#include "NSURLRequest.h"

#include <set>

namespace platform {
namespace {

std::set<String, std::less<>>& trustedHosts() {
    static std::set<String, std::less<>> hosts;
    return hosts;
}

NSURLRequest::ClassOperations ownAnswers() {
    return {[](StringView host) { return trustedHosts().contains(host); },
            [](bool flag, StringView host) {
                if (flag)
                    trustedHosts().emplace(host);
                else
                    trustedHosts().erase(String(host));
            },
            [] { return true; }};
}

} // namespace

NSURLRequest::ClassOperations& NSURLRequest::classOperations() {
    static ClassOperations operations = ownAnswers();
    return operations;
}

bool NSURLRequest::allowsAnyHTTPSCertificateForHost(StringView host) {
    return classOperations().allowsAnyHTTPSCertificateForHost(host);
}

void NSURLRequest::setAllowsAnyHTTPSCertificate_forHost(bool flag, StringView host) {
    classOperations().setAllowsAnyHTTPSCertificate_forHost(flag, host);
}

bool NSURLRequest::HTTPShouldHandleCookies() {
    return classOperations().HTTPShouldHandleCookies();
}

} // namespace platform
