// Codes and statuses that several frameworks share.
#pragma once

#include <cstdint>

namespace platform {

using OSType = std::uint32_t; // a four-character code, its first character in the high byte
using OSErr = std::int16_t;
using OSStatus = std::int32_t;

inline constexpr OSErr noErr = 0;

} // namespace platform
