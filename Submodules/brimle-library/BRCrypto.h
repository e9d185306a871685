// Encodings, digests, ciphers and password-based encryption of byte buffers and strings.
//
// Strings are taken as UTF-8 (a lone surrogate, which has no UTF-8 form, as U+FFFD). Sizes are bytes. Every operation
// is a single call over input held in memory, keeps no state and may run on any thread at once, except that a failure
// is written through DRLogger::log2, which is for one thread at a time.
#pragma once

#include "Foundation/NSString.h"

namespace brimle {

using platform::Data;
using platform::DataView;
using platform::String;
using platform::StringView;

// --- Encodings: nothing here fails ---

// Random bytes of the system. When its random device cannot be opened or delivers less, the rest is zero and nothing
// tells the caller. A negative length counts as 0.
[[nodiscard]] Data br_randomData(std::int32_t length);

// Base64 of RFC 4648 with padding, never with line breaks.
[[nodiscard]] String br_base64encode(DataView data);
// Skips line feeds and carriage returns; the first other character outside the alphabet, "=" included, ends the input
// silently. Padding may be missing, and one last character alone stands for nothing.
[[nodiscard]] Data br_base64decode(StringView text);

// A printf-style format ("%02x") applied to each byte's value in turn. The length counts as a signed 32-bit number:
// below 1 gives the empty string.
[[nodiscard]] String _br_stringWithFormat(DataView data, StringView format);
// Two hexadecimal digits a byte: lower case, upper case, and with letters (not digits) upper and lower in turn.
[[nodiscard]] String br_hex(DataView data);
[[nodiscard]] String br_HEX(DataView data);
[[nodiscard]] String br_HeX(DataView data);

// --- Digests: 16, 20, 32 and 64 bytes; hexadecimal in lower case. Inputs of 4 GiB and more are not supported ---

// A string counts up to its first U+0000, except for SHA-512, which takes all of it.
[[nodiscard]] Data br_MD5(DataView data);
[[nodiscard]] Data br_MD5(StringView text);
[[nodiscard]] String br_MD5hex(DataView data);
[[nodiscard]] String br_MD5hex(StringView text);
[[nodiscard]] Data br_SHA1(DataView data);
[[nodiscard]] Data br_SHA1(StringView text);
[[nodiscard]] Data br_SHA256(DataView data);
[[nodiscard]] Data br_SHA256(StringView text);
[[nodiscard]] String br_SHA256hex(DataView data);
[[nodiscard]] String br_SHA256hex(StringView text);
[[nodiscard]] Data br_SHA512(DataView data);
[[nodiscard]] Data br_SHA512(StringView text);
[[nodiscard]] String br_SHA512hex(DataView data);
[[nodiscard]] String br_SHA512hex(StringView text);

} // namespace brimle
