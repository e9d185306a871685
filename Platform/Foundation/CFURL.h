// Percent-escaping of text for URLs. Pure; any thread.
#pragma once

#include "NSString.h"

namespace platform {

// The text with every UTF-8 byte of a character as "%" and two upper-case hexadecimal digits, for the characters that
// are never legal in a URI (RFC 2396: controls, space, " # % < > [ \ ] ^ ` { | }, DEL, everything outside ASCII) and
// for those of legalURLCharactersToBeEscaped; never for those of charactersToLeaveUnescaped. Both sets are looked at
// unit by unit. A lone surrogate is written as U+FFFD, so that there always is a result.
[[nodiscard]] String CFURLCreateStringByAddingPercentEscapes(StringView originalString,
                                                             StringView charactersToLeaveUnescaped,
                                                             StringView legalURLCharactersToBeEscaped);

// "%" and two upper-case hexadecimal digits.
void appendPercentEscape(String& out, std::uint8_t byte);

} // namespace platform
