// Finding and replacing one text in another.
//
// By default two texts are equal when they are canonically equivalent, composed or decomposed, and a match neither
// begins nor ends inside a composed character: "e" is not found in an e with an accent, however that is encoded. With
// NSLiteralSearch, units are compared one by one. No text holds the empty text.
// Time and memory are linear in the lengths of both texts, whatever they hold. Pure; any thread.
#pragma once

#include "NSRange.h"
#include "NSString.h"

namespace platform {

using NSStringCompareOptions = unsigned;

enum : NSStringCompareOptions {
    NSCaseInsensitiveSearch = 1, // full case folding: a sharp s equals "SS"
    NSLiteralSearch = 2,
    NSBackwardsSearch = 4, // the last match
    NSAnchoredSearch = 8,  // only at the start, or with NSBackwardsSearch at the end
    NSDiacriticInsensitiveSearch = 128,
    NSWidthInsensitiveSearch = 256, // full-width and half-width forms equal the ordinary ones
};

// The first match; absent when there is none.
[[nodiscard]] std::optional<NSRange> rangeOfString(StringView text, StringView wanted,
                                                   NSStringCompareOptions options = 0);

// Replaces every match from left to right, none overlapping another (of the options, backwards and anchored are not
// looked at), and returns how many there were.
std::size_t replaceOccurrencesOfString(String& text, StringView target, StringView replacement,
                                       NSStringCompareOptions options = 0);

} // namespace platform
