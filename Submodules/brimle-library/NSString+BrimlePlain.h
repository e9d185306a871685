// Text made plain for a purpose: sorting, a command line, a query, a tag. Every text is accepted, lone surrogates and
// U+0000 included. Pure; any thread.
#pragma once

#include "Foundation/NSString.h"

namespace brimle {

using platform::String;
using platform::StringView;

// For sorting and searching: 48 accented Latin letters become their ASCII letters, one unit each. Rings, cedillas,
// strokes, ligatures, an accented Y other than with diaeresis, and decomposed letters stay.
[[nodiscard]] String br_stringByStrippingAccentMarks(StringView text);

// For pasting a path into a shell command line: a backslash before each of ' " space ( ) $ & ; ` { } < > that has none
// yet, ":" as "_". Not a quoting of arbitrary text: backslashes, wildcards, "!", "|", "#", "~" and line breaks stay.
[[nodiscard]] String br_stringAsLegalFilePath(StringView text);

// Each line feed, carriage return and form feed as a space.
[[nodiscard]] String br_validPredicateFormatString(StringView text);

// As br_validPredicateFormatString, cut behind 2048 UTF-16 units (which may split a surrogate pair).
[[nodiscard]] String br_validTagString(StringView text);

} // namespace brimle
