// Web addresses as text: schemes supplied, parts cut out, characters percent-escaped. Any text is accepted, whether it
// is an address or not. Pure; any thread.
#pragma once

#include "Foundation/NSString.h"

namespace brimle {

using platform::String;
using platform::StringView;

// The text with "https://" (if it holds ":443") or "http://" in front when it has no "://".
[[nodiscard]] String br_validURLString(StringView text);

// What stands before the first "://", which may be nothing; without "://" a guess: "https" if the text holds ":443",
// else "http".
[[nodiscard]] String br_stringByExtractingScheme(StringView text);

// As br_validURLString, but the three digits "443" anywhere make it "https://".
[[nodiscard]] String br_stringWithURLProtocol(StringView text);

// For one component of a URL (a query value, a path segment): everything but ASCII letters, digits and "-_.~" escaped.
// A lone surrogate is escaped as U+FFFD.
[[nodiscard]] String br_stringAsValidURLString(StringView text);

// For a whole http address: the UTF-8 bytes with unsafe ones escaped, "%" among them (twice applied, it escapes twice).
// Absent when the text holds a lone surrogate and so has no UTF-8 form.
[[nodiscard]] std::optional<String> br_stringAsHttpURLString(StringView text);

// The text up to, not including, its first "?".
[[nodiscard]] String br_stringByExtractingURI(StringView text);

// What stands between the first "://" (or the start) and the next ":", "/" or "?", lower-cased. User information stays
// in, or is what is returned when it holds a ":".
[[nodiscard]] String br_stringByExtractingFullDomain(StringView text);

} // namespace brimle
