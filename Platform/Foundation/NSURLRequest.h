// A request for a URL, and the process-wide answers about certificates and cookies. Main thread only.
#pragma once

#include "NSURL.h"

#include <functional>

namespace platform {

enum NSURLRequestCachePolicy : unsigned {
    NSURLRequestUseProtocolCachePolicy = 0,
    NSURLRequestReloadIgnoringLocalCacheData = 1,
    NSURLRequestReturnCacheDataElseLoad = 2, // cached data whatever their age, else load
    NSURLRequestReturnCacheDataDontLoad = 3
};

class NSURLRequest {
public:
    static constexpr double defaultTimeout = 60; // seconds

    [[nodiscard]] static NSURLRequest requestWithURL(NSURL url) { return NSURLRequest(std::move(url)); }
    // The time-out is in seconds.
    [[nodiscard]] static NSURLRequest
    requestWithURL_cachePolicy_timeoutInterval(NSURL url, NSURLRequestCachePolicy policy, double timeout) {
        NSURLRequest request(std::move(url));
        request.cachePolicy_ = policy;
        request.timeoutInterval_ = timeout;
        return request;
    }

    [[nodiscard]] const NSURL& URL() const { return url_; }
    [[nodiscard]] NSURLRequestCachePolicy cachePolicy() const { return cachePolicy_; }
    [[nodiscard]] double timeoutInterval() const { return timeoutInterval_; }

    // Class operations. Whoever loads something asks these; an application may replace the answers for its process.
    struct ClassOperations {
        std::function<bool(StringView host)> allowsAnyHTTPSCertificateForHost;
        std::function<void(bool flag, StringView host)> setAllowsAnyHTTPSCertificate_forHost;
        std::function<bool()> HTTPShouldHandleCookies;
    };
    [[nodiscard]] static ClassOperations& classOperations();
    [[nodiscard]] static bool allowsAnyHTTPSCertificateForHost(StringView host);
    static void setAllowsAnyHTTPSCertificate_forHost(bool flag, StringView host);
    [[nodiscard]] static bool HTTPShouldHandleCookies();

private:
    explicit NSURLRequest(NSURL url) : url_(std::move(url)) {}

    NSURL url_;
    NSURLRequestCachePolicy cachePolicy_ = NSURLRequestUseProtocolCachePolicy;
    double timeoutInterval_ = defaultTimeout;
};

} // namespace platform
