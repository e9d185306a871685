// Unicode case mapping without a locale's exceptions. Lone surrogates and U+0000 pass through. Pure; any thread.
#pragma once

#include "NSString.h"

namespace platform {

// Full lower-casing: a character may become several ("\u0130"), a final sigma differs from an inner one.
[[nodiscard]] String lowercaseString(StringView text);

} // namespace platform
