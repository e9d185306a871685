#include "brimle/NSString+BrimleData.h"

#include "brimle/DRLogger.h"

#include <array>
#include <cstring>

namespace brimle {
namespace {

std::optional<String> decoded(std::string_view bytes, std::span<const TextDecoder> decoders) {
    for (const TextDecoder decode : decoders)
        if (auto text = decode(bytes))
            return text;
    return std::nullopt;
}

} // namespace

std::span<const TextDecoder> textDecoders() {
    static constexpr std::array<TextDecoder, 3> order{
        platform::stringWithUTF8,
        [](std::string_view bytes) { return std::optional(platform::stringWithISOLatin1(bytes)); },
        platform::stringWithASCII};
    return order;
}

std::optional<String> br_utf8stringWithData(std::optional<DataView> data, std::span<const TextDecoder> decoders) {
    if (!data)
        return std::nullopt;
    auto text = decoded(platform::bytesAsCharacters(*data), decoders);
    if (!text)
        DRLogger::logger()->log2("br_utf8stringWithData failed to produce UTF string from %d bytes",
                                 static_cast<int>(data->size()));
    return text;
}

std::optional<String> br_utf8stringWithCString(const char* bytes, std::span<const TextDecoder> decoders) {
    if (!bytes)
        return String();
    auto text = decoded(bytes, decoders);
    if (!text)
        DRLogger::logger()->log2("br_utf8stringWithCString failed to produce UTF string from '%s'", bytes);
    return text;
}

std::optional<String> br_utf8stringWithBytes_length(const void* bytes, std::int32_t length,
                                                    std::span<const TextDecoder> decoders) {
    if (!bytes || length < 1)
        return String();
    return br_utf8stringWithData(DataView(static_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(length)),
                                 decoders);
}

std::optional<String> br_asString(DataView data) {
    return br_utf8stringWithData(data);
}

std::optional<String> br_stringWithData(DataView data) {
    return br_asString(data);
}

std::optional<Data> br_asData(StringView text) {
    const auto bytes = platform::UTF8String(text);
    if (!bytes) {
        DRLogger::logger()->log2("br_asData failed to obtain UTF8String from NSString");
        return std::nullopt;
    }
    const DataView view = platform::charactersAsBytes(std::string_view(bytes->c_str()));
    return Data(view.begin(), view.end());
}

} // namespace brimle
