// Text into HTML and script, and out of HTML. Every text is accepted, lone surrogates and U+0000 included. Time is
// linear in the text, whatever it holds. Pure; any thread.
#pragma once

#include "Foundation/NSString.h"

namespace brimle {

using platform::String;
using platform::StringView;

// Decodes the named entities of ISO 8859-1 (exact case; not &amp; &lt; &gt; &quot;), then numeric references.
//
// A numeric reference is everything from "&#" to the next ";", whatever stands between: a decimal number, or a
// hexadecimal one behind a lower-case "x"; what is no number counts as 0. It becomes the one UTF-16 unit of the
// number's low 16 bits. Decoding goes on at that unit, so that "&#38;#65;" ends as "A". References that are never
// closed stay.
[[nodiscard]] String br_stringByDecodingHTMLEntities(StringView text);

// "&", ">", "<" as entities, every line break (CR LF, LF CR, LF, CR, U+2028) as "<br />". Quotation marks stay.
[[nodiscard]] String br_asPrintableHTML(StringView text);

// Another name for br_asPrintableHTML.
[[nodiscard]] String br_html(StringView text);

// For a string literal of a script that stands in an HTML page: "&", ">", "<" and the quotation mark as entities,
// backslash, line feed and apostrophe as script escapes.
[[nodiscard]] String br_javascript(StringView text);

// For text that must survive any character encoding: "&", ">", "<" and the quotation mark as entities, line feed as
// "<br/>", each UTF-16 unit from 128 up as a decimal reference of its own.
[[nodiscard]] String br_htmlString(StringView text);

} // namespace brimle
