// The version of the system. Any thread.
#pragma once

#include "Foundation/MacTypes.h"

#include <optional>
#include <string>
#include <string_view>

namespace platform {

inline constexpr OSType gestaltSystemVersion = 0x73797376; // 'sysv'
inline constexpr OSErr gestaltUndefSelectorErr = -5551;    // there is no answer to this question

// The packed version in hexadecimal digits: the major number in two or more of them, then one for the minor and one for
// the bug-fix number, each at most 9: 10.6.8 is 0x1068, 12 is 0x1200 and 22.04 is 0x2240. `*response` is left alone
// when the status is not 0. It is the system's own version as os-release(5) gives it below `root`.
[[nodiscard]] OSErr Gestalt(OSType selector, std::int32_t* response, const std::string& root = "");

// The packed form of a version such as "10.6.8"; absent when it does not begin with a number. A major number above 99
// (a date) counts as 99.
[[nodiscard]] std::optional<std::int32_t> packedSystemVersion(std::string_view version);

} // namespace platform
