// A fuzzer's bytes as text, and the end of a run that found two ways to an answer which do not agree.
#pragma once

#include "Foundation/NSString.h"

#include <cstdio>
#include <cstdlib>

namespace fuzzing {

// Latin 1 for the first byte's even values, so that a mutation is a character; else pairs of bytes as UTF-16 units, so
// that every unit can come.
inline platform::String textOf(const std::uint8_t* data, std::size_t size) {
    platform::String text;
    if (size == 0)
        return text;
    if (data[0] % 2 == 0)
        return platform::stringWithISOLatin1({reinterpret_cast<const char*>(data) + 1, size - 1});
    for (std::size_t i = 1; i + 1 < size; i += 2)
        text.push_back(static_cast<char16_t>(data[i] << 8 | data[i + 1]));
    return text;
}

inline void require(bool agrees, const char* what) {
    if (agrees)
        return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

} // namespace fuzzing
