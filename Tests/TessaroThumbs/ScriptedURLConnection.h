// Stands in for loading over HTTP where a test is about what is loaded: answers as a test has told it, by default that
// there is nothing.
#pragma once

#include "Foundation/NSURLConnection.h"

#include <functional>
#include <vector>

namespace tessaro {

struct URLConnectionScript {
    std::function<std::optional<platform::Data>(const platform::NSURLRequest& request)> answer;
    std::vector<platform::NSURLRequest> requests;
};

[[nodiscard]] URLConnectionScript& urlConnectionScript();

} // namespace tessaro
