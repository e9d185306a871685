// Universally unique identifiers. Any thread.
#pragma once

#include "NSString.h"

#include <array>

namespace platform {

struct CFUUID {
    std::array<std::uint8_t, 16> bytes{}; // in the order of the text form
    friend bool operator==(const CFUUID&, const CFUUID&) = default;
};

// A new random identifier (version 4).
[[nodiscard]] CFUUID CFUUIDCreate();

// The canonical form: 36 characters, upper-case hexadecimal in groups of 8, 4, 4, 4 and 12 joined by hyphens.
[[nodiscard]] String CFUUIDCreateString(const CFUUID& uuid);

} // namespace platform
