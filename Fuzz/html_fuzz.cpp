// Entities and escapes, against the whole-string replacements one after another.
#include "FuzzText.h"
#include "Tests/brimle-library/TextReference.h"
#include "brimle/NSString+BrimleHTML.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const platform::String text = fuzzing::textOf(data, size);
    fuzzing::require(brimle::br_stringByDecodingHTMLEntities(text) == reference::decodingHTMLEntities(text),
                     "entities");
    fuzzing::require(brimle::br_asPrintableHTML(text) == reference::asPrintableHTML(text), "printable");
    fuzzing::require(brimle::br_javascript(text) == reference::javascript(text), "script");
    fuzzing::require(brimle::br_htmlString(text) == reference::htmlString(text), "any encoding");
    return 0;
}
