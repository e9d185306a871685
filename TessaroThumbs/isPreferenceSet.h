// The integer flags in the main application's preferences domain.
#pragma once

#include "Foundation/NSString.h"

namespace tessaro {

// The main application, whose preferences domain holds the flags: ~/Library/Preferences/fi.tessaro.Tessaro.plist.
inline constexpr platform::StringView applicationIdentifier = u"fi.tessaro.Tessaro";

// Whether the flag exists as an integer whose low 32 bits, read as a signed number, are greater than 0. Reads the
// domain afresh at every call: a flag that the main application changes during a run counts from the next test on.
[[nodiscard]] bool isPreferenceSet(platform::StringView key);

} // namespace tessaro
