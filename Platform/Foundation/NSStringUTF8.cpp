// UTF-8 and UTF-16, each turned into the other. ASCII goes eight characters at a time; text is converted in pieces that
// stay in the first-level cache and then appended, so that no result is filled with zeros first.
#include "NSString.h"

#include <array>
#include <bit>
#include <cstring>

namespace platform {
namespace {

constexpr std::size_t pieceLength = 2048;
constexpr std::size_t block = 8; // characters looked at together
constexpr std::size_t longestCharacter = 4;

constexpr bool isTrail(unsigned byte) {
    return (byte & 0xC0) == 0x80;
}
constexpr bool isSurrogate(char32_t unit) {
    return (unit & 0xF800) == 0xD800;
}
constexpr bool isHighSurrogate(char32_t unit) {
    return (unit & 0xFC00) == 0xD800;
}
constexpr bool isLowSurrogate(char32_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

template <class T>
std::uint64_t load(const T* from) {
    std::uint64_t word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// How many bits of the word stand before the first one set, in the order of memory.
int firstSetBit(std::uint64_t word) {
    return std::endian::native == std::endian::little ? std::countr_zero(word) : std::countl_zero(word);
}

// Exactly the number of units of well-formed bytes.
std::size_t utf16Length(std::string_view bytes) {
    std::size_t length = 0;
    for (std::size_t begin = 0; begin < bytes.size(); begin += 64) {
        std::uint8_t count = 0; // at most two a byte
        for (const char c : bytes.substr(begin, 64)) {
            const auto byte = static_cast<std::uint8_t>(c);
            count = static_cast<std::uint8_t>(count + (isTrail(byte) ? 0 : 1) + (byte >= 0xF0 ? 1 : 0));
        }
        length += count;
    }
    return length;
}

// Exactly the number of bytes of well-formed text. (A lone surrogate counts two, its U+FFFD would take three.)
std::size_t utf8Length(StringView text) {
    std::size_t length = 0;
    for (std::size_t begin = 0; begin < text.size(); begin += 64) {
        std::uint16_t count = 0;
        for (const char16_t unit : text.substr(begin, 64))
            count = static_cast<std::uint16_t>(count + 1 + (unit >= 0x80 ? 1 : 0) + (unit >= 0x800 ? 1 : 0) -
                                               (isSurrogate(unit) ? 1 : 0));
        length += count;
    }
    return length;
}

struct Decoder {
    const std::uint8_t* in;
    const std::uint8_t* end;

    // One character beyond ASCII, strictly; null when it is not well-formed.
    char16_t* character(char16_t* out) {
        const unsigned lead = *in;
        const auto left = static_cast<std::size_t>(end - in);
        const auto trail = [this](std::size_t k) { return in[k] & 0x3Fu; };
        if (lead < 0xE0) {
            if (lead < 0xC2 || left < 2 || !isTrail(in[1]))
                return nullptr;
            *out++ = static_cast<char16_t>((lead & 0x1F) << 6 | trail(1));
            in += 2;
        } else if (lead < 0xF0) {
            if (left < 3 || !isTrail(in[1]) || !isTrail(in[2]))
                return nullptr;
            const unsigned value = (lead & 0xF) << 12 | trail(1) << 6 | trail(2);
            if (value < 0x800 || isSurrogate(value))
                return nullptr;
            *out++ = static_cast<char16_t>(value);
            in += 3;
        } else {
            if (lead > 0xF4 || left < 4 || !isTrail(in[1]) || !isTrail(in[2]) || !isTrail(in[3]))
                return nullptr;
            const unsigned value = (lead & 7) << 18 | trail(1) << 12 | trail(2) << 6 | trail(3);
            if (value < 0x10000 || value > 0x10FFFF)
                return nullptr;
            *out++ = static_cast<char16_t>(0xD7C0 + (value >> 10));
            *out++ = static_cast<char16_t>(0xDC00 | (value & 0x3FF));
            in += 4;
        }
        return out;
    }

    // Up to `full`, behind which there is room for one block; null when the bytes are not well-formed.
    char16_t* piece(char16_t* out, const char16_t* full) {
        while (in < end && out < full) {
            if (static_cast<std::size_t>(end - in) >= block) {
                const std::uint64_t high = load(in) & 0x8080808080808080;
                for (std::size_t k = 0; k < block; ++k)
                    out[k] = in[k];
                const std::size_t ascii = high ? static_cast<std::size_t>(firstSetBit(high)) / 8 : block;
                in += ascii;
                out += ascii;
                if (high == 0)
                    continue;
            } else if (*in < 0x80) {
                *out++ = *in++;
                continue;
            }
            do {
                out = character(out);
                if (!out)
                    return nullptr;
            } while (in < end && *in >= 0x80 && out < full);
        }
        return out;
    }
};

template <bool replaceLoneSurrogates>
struct Encoder {
    const char16_t* in;
    const char16_t* end;

    static char* put(char* out, std::initializer_list<char32_t> bytes) {
        for (const char32_t byte : bytes)
            *out++ = static_cast<char>(byte);
        return out;
    }

    char* character(char* out) {
        const char32_t unit = *in++;
        if (unit < 0x800)
            return put(out, {0xC0 | unit >> 6, 0x80 | (unit & 0x3F)});
        if (!isSurrogate(unit))
            return put(out, {0xE0 | unit >> 12, 0x80 | (unit >> 6 & 0x3F), 0x80 | (unit & 0x3F)});
        if (isHighSurrogate(unit) && in < end && isLowSurrogate(*in)) {
            const char32_t value = 0x10000 + ((unit & 0x3FF) << 10) + (*in++ & 0x3FFu);
            return put(out, {0xF0 | value >> 18, 0x80 | (value >> 12 & 0x3F), 0x80 | (value >> 6 & 0x3F),
                             0x80 | (value & 0x3F)});
        }
        return replaceLoneSurrogates ? put(out, {0xEF, 0xBF, 0xBD}) : nullptr;
    }

    // As Decoder::piece.
    char* piece(char* out, const char* full) {
        while (in < end && out < full) {
            if (static_cast<std::size_t>(end - in) >= block) {
                constexpr std::uint64_t notASCII = 0xFF80FF80FF80FF80;
                const std::uint64_t low = load(in) & notASCII;
                const std::uint64_t high = load(in + 4) & notASCII;
                for (std::size_t k = 0; k < block; ++k)
                    out[k] = static_cast<char>(in[k]);
                const int bits = low ? firstSetBit(low) : 64 + (high ? firstSetBit(high) : 64);
                const std::size_t ascii = static_cast<std::size_t>(bits) / 16;
                in += ascii;
                out += ascii;
                if (ascii == block)
                    continue;
            } else if (*in < 0x80) {
                *out++ = static_cast<char>(*in++);
                continue;
            }
            do {
                out = character(out);
                if (!out)
                    return nullptr;
            } while (in < end && *in >= 0x80 && out < full);
        }
        return out;
    }
};

// False as soon as a piece is not well-formed.
template <class Text, class Converter>
bool convert(Converter converter, Text& out) {
    std::array<typename Text::value_type, pieceLength + block + longestCharacter> buffer;
    while (converter.in < converter.end) {
        auto* const pieceEnd = converter.piece(buffer.data(), buffer.data() + pieceLength);
        if (!pieceEnd)
            return false;
        out.append(buffer.data(), static_cast<std::size_t>(pieceEnd - buffer.data()));
    }
    return true;
}

} // namespace

std::optional<std::string> UTF8String(StringView text) {
    std::optional<std::string> out(std::in_place);
    out->reserve(utf8Length(text));
    if (!convert(Encoder<false>{text.data(), text.data() + text.size()}, *out))
        out.reset();
    return out;
}

std::string lossyUTF8String(StringView text) {
    std::string out;
    out.reserve(utf8Length(text));
    convert(Encoder<true>{text.data(), text.data() + text.size()}, out);
    return out;
}

std::optional<String> stringWithUTF8(std::string_view bytes) {
    std::optional<String> out(std::in_place);
    out->reserve(utf16Length(bytes));
    const DataView view = charactersAsBytes(bytes);
    if (!convert(Decoder{view.data(), view.data() + view.size()}, *out))
        out.reset();
    return out;
}

String stringWithISOLatin1(std::string_view bytes) {
    String out(bytes.size(), u'\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        out[i] = static_cast<std::uint8_t>(bytes[i]);
    return out;
}

std::optional<String> stringWithASCII(std::string_view bytes) {
    for (const char byte : bytes)
        if (static_cast<std::uint8_t>(byte) >= 0x80)
            return std::nullopt;
    return stringWithISOLatin1(bytes);
}

String stringWithUTF8OrLatin1(std::string_view bytes) {
    auto text = stringWithUTF8(bytes);
    return text ? *std::move(text) : stringWithISOLatin1(bytes);
}

} // namespace platform
