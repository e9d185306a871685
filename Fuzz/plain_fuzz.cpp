// Accents, paths, lines and cleaning, against their steps.
#include "FuzzText.h"
#include "Tests/brimle-library/TextReference.h"
#include "brimle/NSString+Brimle.h"
#include "brimle/NSString+BrimlePlain.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace brimle;
    const platform::String text = fuzzing::textOf(data, size);
    fuzzing::require(br_stringByStrippingAccentMarks(text) == reference::strippingAccentMarks(text), "accents");
    const platform::String path = br_stringAsLegalFilePath(text);
    fuzzing::require(path == reference::asLegalFilePath(text), "path");
    fuzzing::require(br_stringAsLegalFilePath(path) == path, "path of a path");
    const platform::String clean = reference::replacingChain(text, {{u"\n", u" "}, {u"\r", u" "}, {u"\f", u" "}});
    fuzzing::require(br_validPredicateFormatString(text) == clean, "predicate");
    fuzzing::require(br_validTagString(text) == clean.substr(0, 2048), "tag");
    for (const long limit : {0L, 1L, 2L, 7L, -1L})
        fuzzing::require(br_numberOfLinesLimitedTo(text, limit) ==
                             reference::numberOfLines(text, static_cast<std::size_t>(limit)),
                         "lines");
    return 0;
}
