// Foreign text made safe to show. What a web page or another program chose must not move the cursor, recolour the
// terminal or reorder what stands beside it, and must not pass for the tool's own words.
#pragma once

#include "Foundation/NSString.h"

namespace tessaro_record {

// The text with every control, formatting and invisible character as \u{hex}, every backslash doubled and every byte
// that is no UTF-8 as \xHH. With a limit, at most that many characters of the text are shown, then "...".
[[nodiscard]] std::string terminalText(platform::DataView bytes, std::size_t limit = SIZE_MAX);

// The text as a JSON string with its quotes; the characters above are escaped too. Absent when the bytes are no UTF-8.
[[nodiscard]] std::optional<std::string> JSONString(platform::DataView bytes);

} // namespace tessaro_record
