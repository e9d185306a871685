// Bytes turned into text and back. Failures are logged (DRLogger: main thread); everything else on any thread.
#pragma once

#include "Foundation/NSString.h"

namespace brimle {

using platform::Data;
using platform::DataView;
using platform::String;
using platform::StringView;

// Reads bytes as text in one encoding; absent when they are not in it.
using TextDecoder = std::optional<String> (*)(std::string_view bytes);

// What bytes are tried as, in this order: UTF-8, ISO Latin 1, ASCII. Latin 1 takes whatever is not UTF-8.
[[nodiscard]] std::span<const TextDecoder> textDecoders();

// The text of the bytes, as a whole in the first encoding that fits. Absent for absent data, and, with a log line, when
// none fits.
[[nodiscard]] std::optional<String> br_utf8stringWithData(std::optional<DataView> data,
                                                          std::span<const TextDecoder> decoders = textDecoders());

// The same of the bytes before the first zero byte; an absent pointer gives the empty text.
[[nodiscard]] std::optional<String> br_utf8stringWithCString(const char* bytes,
                                                             std::span<const TextDecoder> decoders = textDecoders());

// The same of `length` bytes; an absent pointer and a length below 1 give the empty text.
[[nodiscard]] std::optional<String>
br_utf8stringWithBytes_length(const void* bytes, std::int32_t length,
                              std::span<const TextDecoder> decoders = textDecoders());

// The text of a buffer, as br_utf8stringWithData reads it. Two names: the buffer's own and the string's.
[[nodiscard]] std::optional<String> br_asString(DataView data);
[[nodiscard]] std::optional<String> br_stringWithData(DataView data);

// The UTF-8 bytes of the text before its first U+0000. Absent, with a log line, when the text has a lone surrogate.
[[nodiscard]] std::optional<Data> br_asData(StringView text);

} // namespace brimle
