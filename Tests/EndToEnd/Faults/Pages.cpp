// Pages and servers that do not end or take all there is.
#include "Fault.h"

#include "Site.h"

#include <csignal>

namespace faults {
namespace {

auto load(const char* path) {
    return [=](Setup& setup) { setup.setURL(Site::shared().url(path)); };
}

} // namespace

std::vector<Fault> pageFaults() {
    constexpr milliseconds longLoad = std::chrono::seconds(60);
    std::vector<Fault> faults = {
        {.name = "a page that allocates without end",
         .output = Output::Nothing,
         .prepare = load("/allocate.html"),
         .limit = longLoad},
        {.name = "10,000 redirects", .output = Output::Nothing, .prepare = load("/redirects/10000"), .limit = longLoad},
        {.name = "a header of 100 MB",
         .output = Output::RecordOrNothing,
         .prepare = load("/header/large"),
         .limit = longLoad},
        {.name = "a header field without end",
         .output = Output::Nothing,
         .prepare = load("/header/endless"),
         .limit = longLoad},
        {.name = "header fields without end",
         .output = Output::Nothing,
         .prepare = load("/header/many"),
         .limit = longLoad},
    };
    return faults;
}

} // namespace faults
