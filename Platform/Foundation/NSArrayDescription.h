// What "%@" prints for a list of texts. Pure; any thread.
#pragma once

#include "NSString.h"

namespace platform {

// The list in parentheses, one element a line, indented by four spaces, with commas between them:
//
//     (
//         "-c",
//         true
//     )
//
// An element stands in quotes unless it is made of ASCII letters and digits only; inside quotes, quotes and backslashes
// have a backslash before them, control characters are written as in C, other characters beyond ASCII as \Uxxxx.
[[nodiscard]] String descriptionOfArray(std::span<const String> texts);

} // namespace platform
