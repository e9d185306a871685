// Strings, byte buffers and their conversions.
//
// A string is a sequence of UTF-16 code units: lengths, indexes and cuts count units, and lone surrogates and U+0000
// are ordinary content. Text crosses every boundary (C functions, files, digests) as UTF-8.
// All functions are pure and may be called from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

using String = std::u16string;
using StringView = std::u16string_view;
using Data = std::vector<std::uint8_t>;
using DataView = std::span<const std::uint8_t>;

// The UTF-8 form; absent when the text holds a lone surrogate and so has none.
[[nodiscard]] std::optional<std::string> UTF8String(StringView text);

// The UTF-8 form with U+FFFD for every lone surrogate: for output that must never fail (log lines, messages).
[[nodiscard]] std::string lossyUTF8String(StringView text);

// Strict decoding: overlong forms, surrogates, values beyond U+10FFFF and cut sequences make it absent.
[[nodiscard]] std::optional<String> stringWithUTF8(std::string_view bytes);

// Each byte as the character of that number.
[[nodiscard]] String stringWithISOLatin1(std::string_view bytes);

// Absent when a byte is above 0x7F.
[[nodiscard]] std::optional<String> stringWithASCII(std::string_view bytes);

// UTF-8 where the bytes are UTF-8, else each byte as the Latin 1 character of that number: nothing is lost.
[[nodiscard]] String stringWithUTF8OrLatin1(std::string_view bytes);

// A buffer's bytes seen as characters.
[[nodiscard]] inline std::string_view bytesAsCharacters(DataView bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
[[nodiscard]] inline DataView charactersAsBytes(std::string_view characters) {
    return {reinterpret_cast<const std::uint8_t*>(characters.data()), characters.size()};
}

// A leading "~" or "~user" becomes that user's home directory (HOME first for one's own); other text, an unknown
// user included, is returned as it is.
[[nodiscard]] String stringByExpandingTildeInPath(StringView path);

// The path without its last component and without the slashes before it: "/a/b" gives "/a", "/a" gives "/", "a" gives
// "". Trailing slashes do not count as a component.
[[nodiscard]] String stringByDeletingLastPathComponent(StringView path);

// The path without the last component's extension, its last "." and what follows: "/a/b.c" gives "/a/b". A component
// that begins with its only "." has none. Trailing slashes go.
[[nodiscard]] String stringByDeletingPathExtension(StringView path);

// The two with exactly one slash between them, without slashes at the end; an empty path gives the component alone.
[[nodiscard]] String stringByAppendingPathComponent(StringView path, StringView component);

} // namespace platform
