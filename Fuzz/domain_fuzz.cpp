// The registrable domain, against the linear pass over the table of suffixes.
#include "FuzzText.h"
#include "Tests/brimle-library/TextReference.h"
#include "brimle/NSString+BrimleDomain.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const platform::String text = fuzzing::textOf(data, size);
    const platform::String domain = brimle::br_stringByExtracting2ndTLD(text);
    fuzzing::require(domain == reference::secondLevelDomain(text), "domain");
    fuzzing::require(reference::fullDomain(text).ends_with(domain), "not of the host");
    static_cast<void>(brimle::br_urlAsLoginTitle(text));
    return 0;
}
