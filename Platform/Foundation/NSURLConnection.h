// Loading a URL and waiting for it, over HTTP.
//
// The request's time-out is for all of it: names, connection, redirects and the whole body. Meanwhile only the load's
// own sources run, no callback of the main loop. Certificates are checked, and cookies neither sent nor kept, as the
// request class answers (NSURLRequest::allowsAnyHTTPSCertificateForHost, HTTPShouldHandleCookies). Redirects are
// followed, proxies are the system's, nobody is asked for a password. Main thread only.
#pragma once

#include "NSError.h"
#include "NSURLRequest.h"

namespace platform {

inline constexpr long NSURLErrorUnknown = -1;
inline constexpr long NSURLErrorTimedOut = -1001;
inline constexpr long NSURLErrorUnsupportedURL = -1002;
inline constexpr long NSURLErrorCannotConnectToHost = -1004;
inline constexpr long NSURLErrorResourceUnavailable = -1008;
inline constexpr long NSURLErrorDataLengthExceedsMaximum = -1103;

struct NSHTTPURLResponse {
    int statusCode = 0;
};

class NSURLConnection {
public:
    // A longer body, counted after decompression, is no data. Icons have some ten or hundred thousand bytes.
    static constexpr std::size_t largestBody = std::size_t{8} << 20;

    // The body, whatever the status; absent when it did not arrive whole. Both out-pointers may be null.
    [[nodiscard]] static std::optional<Data>
    sendSynchronousRequest_returningResponse_error(const NSURLRequest& request,
                                                   std::optional<NSHTTPURLResponse>* response, NSErrorPointer error);
};

} // namespace platform
