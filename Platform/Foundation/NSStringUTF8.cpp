// UTF-8 and UTF-16, each turned into the other. ASCII goes sixteen characters at a time; text is converted in pieces
// that stay in the first-level cache and then appended, so that no result is filled with zeros first.
#include "NSString.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace platform {
namespace {

constexpr std::size_t pieceLength = 1024;
constexpr std::size_t block = 16; // characters looked at together

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

// One block, through locals: a store of characters could otherwise change what is still to be read.
template <class From, class To>
void copyBlock(const From* in, To* out) {
    std::array<From, block> from;
    std::array<To, block> to;
    std::memcpy(from.data(), in, sizeof from);
    for (std::size_t k = 0; k < block; ++k)
        to[k] = static_cast<To>(from[k]);
    std::memcpy(out, to.data(), sizeof to);
}

// How many of a block's characters come before the first one beyond ASCII.
template <class Converter>
std::size_t leadingASCII(const typename Converter::From* in) {
    constexpr std::size_t perWord = sizeof(std::uint64_t) / sizeof(*in);
    for (std::size_t k = 0; k < block; k += perWord)
        if (const std::uint64_t others = load(in + k) & Converter::notASCII)
            return k + static_cast<std::size_t>(firstSetBit(others)) / (64 / perWord);
    return block;
}

struct Decoder {
    using From = std::uint8_t;

    static constexpr std::uint64_t notASCII = 0x8080808080808080;

    // One character beyond ASCII, strictly; null when it is not well-formed.
    static char16_t* character(const From*& in, const From* end, char16_t* out) {
        const unsigned lead = *in;
        const auto left = static_cast<std::size_t>(end - in);
        const auto trail = [&in](std::size_t k) { return in[k] & 0x3Fu; };
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

    // A block of which `ascii` characters come before the first one beyond ASCII, up to the next ASCII after that.
    static char16_t* mixedBlock(const From*& in, std::size_t ascii, const From* stop, const From* end, char16_t* out) {
        copyBlock(in, out); // as a whole, whatever of it counts
        in += ascii;
        out += ascii;
        do
            out = character(in, end, out);
        while (out && in < stop && *in >= 0x80);
        return out;
    }
};

template <bool replaceLoneSurrogates>
struct Encoder {
    using From = char16_t;

    static constexpr std::uint64_t notASCII = 0xFF80FF80FF80FF80;
    static constexpr std::uint64_t atLeastHalf = 0x8000800080008000; // units from 0x8000 up, surrogates among them

    // The bytes of each unit of a block, the first one lowest, and their counts. Surrogates come out wrong.
    struct Forms {
        std::array<std::uint32_t, block> bytes;
        std::array<std::uint32_t, block> lengths;
    };

    // Text of several scripts has characters of another length at every word, which no branch foresees. So all forms of
    // a unit are computed, and one is taken by a mask, which compilers do for several units at once.
    static Forms formsOf(const From* in) {
        std::array<From, block> units;
        std::memcpy(units.data(), in, sizeof units);
        Forms forms;
        for (std::size_t k = 0; k < block; ++k) {
            const std::uint32_t unit = units[k];
            const std::uint32_t notOne = unit >= 0x80 ? ~0u : 0u;
            const std::uint32_t isThree = unit >= 0x800 ? ~0u : 0u;
            const std::uint32_t two = 0x80C0 | unit >> 6 | (unit << 8 & 0x3F00);
            const std::uint32_t three = 0x8080E0 | unit >> 12 | (unit << 2 & 0x3F00) | (unit << 16 & 0x3F0000);
            forms.bytes[k] = (unit & ~notOne) | (two & notOne & ~isThree) | (three & isThree);
            forms.lengths[k] = 1 - notOne - isThree; // a mask counts as -1
        }
        return forms;
    }

    // Writes the bytes, and up to three that mean nothing behind them.
    static char* putForm(const Forms& forms, std::size_t k, char* out) {
        for (int i = 0; i < 4; ++i) // compilers make one store of these
            out[i] = static_cast<char>(forms.bytes[k] >> 8 * i);
        return out + forms.lengths[k];
    }

    // A block up to its first surrogate, and with that one's character.
    static char* mixedBlock(const From*& in, std::size_t, const From*, const From* end, char* out) {
        std::uint64_t any = 0;
        for (std::size_t k = 0; k < block; k += sizeof any / sizeof *in)
            any |= load(in + k);
        const Forms forms = formsOf(in);
        if ((any & atLeastHalf) == 0) {
            for (std::size_t k = 0; k < block; ++k)
                out = putForm(forms, k, out);
            in += block;
            return out;
        }
        std::size_t k = 0;
        for (; k < block && !isSurrogate(in[k]); ++k)
            out = putForm(forms, k, out);
        in += k;
        return k < block ? character(in, end, out) : out;
    }

    static char* put(char* out, std::initializer_list<char32_t> bytes) {
        for (const char32_t byte : bytes)
            *out++ = static_cast<char>(byte);
        return out;
    }

    static char* character(const From*& in, const From* end, char* out) {
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
};

// Converts up to `stop` and the character that reaches over it. Null when the text is not well-formed.
template <class Converter, class To>
To* convertPiece(const typename Converter::From*& position, const typename Converter::From* stop,
                 const typename Converter::From* end, To* out) {
    const auto* in = position;
    while (in < stop) {
        if (static_cast<std::size_t>(end - in) >= block) {
            const std::size_t ascii = leadingASCII<Converter>(in);
            if (ascii < block) {
                out = Converter::mixedBlock(in, ascii, stop, end, out);
            } else {
                copyBlock(in, out);
                in += block;
                out += block;
            }
        } else if (*in < 0x80) {
            *out++ = static_cast<To>(*in++);
        } else {
            out = Converter::character(in, end, out);
        }
        if (!out)
            return nullptr;
    }
    position = in;
    return out;
}

// False as soon as a piece is not well-formed.
template <class Converter, class Text>
bool convert(const typename Converter::From* in, std::size_t length, Text& out) {
    constexpr double roomy = 1.06;
    constexpr std::size_t mostForOne = 3; // a unit becomes three bytes at most, a byte one unit
    std::array<typename Text::value_type, (pieceLength + 2 * block) * mostForOne> buffer; // pieces reach over their end
    const auto* const begin = in;
    for (const auto* const end = in + length; in < end;) {
        const auto* const stop = in + std::min<std::size_t>(pieceLength, static_cast<std::size_t>(end - in));
        auto* const pieceEnd = convertPiece<Converter>(in, stop, end, buffer.data());
        if (!pieceEnd)
            return false;
        const auto written = static_cast<std::size_t>(pieceEnd - buffer.data());
        // The rest will most likely be like the first piece; where it is not, the result grows as strings do.
        if (out.empty())
            out.reserve(in == end
                            ? written
                            : static_cast<std::size_t>(static_cast<double>(length) * roomy *
                                                       static_cast<double>(written) / static_cast<double>(in - begin)));
        out.append(buffer.data(), written);
    }
    return true;
}

} // namespace

std::optional<std::string> UTF8String(StringView text) {
    std::optional<std::string> out(std::in_place);
    if (!convert<Encoder<false>>(text.data(), text.size(), *out))
        out.reset();
    return out;
}

std::string lossyUTF8String(StringView text) {
    std::string out;
    convert<Encoder<true>>(text.data(), text.size(), out);
    return out;
}

std::optional<String> stringWithUTF8(std::string_view bytes) {
    std::optional<String> out(std::in_place);
    if (!convert<Decoder>(charactersAsBytes(bytes).data(), bytes.size(), *out))
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
