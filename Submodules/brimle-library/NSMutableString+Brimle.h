// Replacing inside a string. Failures are logged (DRLogger: main thread); everything else on any thread.
#pragma once

#include "Foundation/NSString.h"

namespace brimle {

using platform::String;
using platform::StringView;

// Replaces every occurrence of the target, case counting, and returns how many there were. An absent target is logged
// and replaces nothing; an absent replacement is logged and deletes.
std::size_t br_replaceOccurrencesOfString_withString(String& text, std::optional<StringView> target,
                                                     std::optional<StringView> replacement);

// The same with a password. Concealed, it is written as the HTML text "&#8226;" once for each of its UTF-16 units: for
// pages, and telling its length. Not concealed, it stands there as it is.
std::size_t br_replaceOccurrencesOfString_withPassword_conceal(String& text, std::optional<StringView> target,
                                                               std::optional<StringView> password, bool conceal);

} // namespace brimle
