#include "Tests/TessaroThumbs/ScriptedURLConnection.h"

namespace tessaro {

URLConnectionScript& urlConnectionScript() {
    static URLConnectionScript script;
    return script;
}

} // namespace tessaro

namespace platform {

std::optional<Data> NSURLConnection::sendSynchronousRequest_returningResponse_error(const NSURLRequest& request,
                                                                                    std::optional<NSHTTPURLResponse>*,
                                                                                    NSErrorPointer) {
    auto& script = tessaro::urlConnectionScript();
    script.requests.push_back(request);
    return script.answer ? script.answer(request) : std::nullopt;
}

} // namespace platform
