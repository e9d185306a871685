// Responses kept on disk between runs, one file each, readable by the user alone.
//
// Several processes may use one folder at a time and may be killed at any moment: an entry appears whole or not at all,
// and one that is damaged is none. A folder that cannot be made, or that belongs to somebody else, holds nothing and
// keeps nothing. When the folder outgrows its capacity, what was used longest ago goes. Main thread only.
#pragma once

#include "NSString.h"

namespace platform {

struct NSCachedURLResponse {
    int statusCode = 0;
    Data data;
    friend bool operator==(const NSCachedURLResponse&, const NSCachedURLResponse&) = default;
};

class NSURLCache {
public:
    // The capacity is in bytes of file contents, each entry counted as one 4-KiB block at least.
    NSURLCache(std::string folder, std::size_t capacity) : folder_(std::move(folder)), capacity_(capacity) {}

    // "tessaro-thumbs/responses", 16 MiB, in $XDG_CACHE_HOME, else in ~/.cache.
    [[nodiscard]] static NSURLCache sharedURLCache();

    [[nodiscard]] std::optional<NSCachedURLResponse> cachedResponseForURL(StringView url) const;
    // Replaces what was kept for that URL. Never fails towards its caller.
    void storeCachedResponse_forURL(const NSCachedURLResponse& response, StringView url) const;

    [[nodiscard]] const std::string& folder() const { return folder_; }

private:
    [[nodiscard]] int openFolder(bool create) const;
    void trim(int folder) const;

    std::string folder_;
    std::size_t capacity_;
};

} // namespace platform
