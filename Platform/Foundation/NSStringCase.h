// Unicode case mapping without a locale's exceptions. Lone surrogates and U+0000 pass through. Pure; any thread.
#pragma once

#include "NSString.h"

namespace platform {

// Full lower-casing: a character may become several ("\u0130"), a final sigma differs from an inner one.
[[nodiscard]] String lowercaseString(StringView text);

// Each word with its first letter in title case and the rest lower-cased. A word is a run of cased letters; apostrophes
// (' and U+2019), soft hyphens and combining marks do not end it, everything else does: "don't" gives "Don't",
// "my-bank" "My-Bank", "3com" "3Com".
[[nodiscard]] String capitalizedString(StringView text);

} // namespace platform
