#include "brimle/BRCrypto.h"

#include "Foundation/NSFormat.h"

#include <array>
#include <fcntl.h>
#include <unistd.h>

namespace brimle {
namespace {

constexpr StringView basis_64 = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t notBase64 = 64;

// Index in the alphabet by character; 64 for every other byte.
constexpr auto pr2six = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(notBase64);
    for (std::uint8_t i = 0; i < basis_64.size(); ++i)
        table[basis_64[i]] = i;
    return table;
}();

struct Pair {
    char16_t first;
    char16_t second;
};

// The two characters of every 12 bits: half the look-ups of one character at a time.
constexpr auto base64Pairs = [] {
    std::array<Pair, 4096> table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = {basis_64[i >> 6], basis_64[i & 63]};
    return table;
}();

constexpr std::array<Pair, 256> hexPairs(StringView digits) {
    std::array<Pair, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = {digits[i >> 4], digits[i & 15]};
    return table;
}
constexpr auto lowerPairs = hexPairs(u"0123456789abcdef");
constexpr auto upperPairs = hexPairs(u"0123456789ABCDEF");

// Lengths are signed 32-bit numbers in the hexadecimal forms; one that reads as negative counts as none.
DataView countedAsSigned32(DataView data) {
    const auto length = static_cast<std::int32_t>(data.size());
    return data.first(length < 1 ? 0 : static_cast<std::size_t>(length));
}

String hexadecimal(DataView data, const std::array<Pair, 256> &pairs) {
    const DataView bytes = countedAsSigned32(data);
    String text(bytes.size() * 2, u'\0');
    char16_t *out = text.data();
    for (const std::uint8_t byte : bytes) {
        *out++ = pairs[byte].first;
        *out++ = pairs[byte].second;
    }
    return text;
}

constexpr bool isLineBreak(char16_t unit) {
    return unit == u'\n' || unit == u'\r';
}

constexpr std::uint8_t sixBits(char16_t unit) {
    return unit < pr2six.size() ? pr2six[unit] : notBase64;
}

} // namespace

Data br_randomData(std::int32_t length) {
    Data data(length < 0 ? 0 : static_cast<std::size_t>(length));
    const int device = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (device < 0)
        return data; // zeros: callers are promised a buffer, not an error
    // One read, whatever it delivers: what is missing stays zero.
    [[maybe_unused]] const ssize_t count = read(device, data.data(), data.size());
    close(device);
    return data;
}

String br_base64encode(DataView data) {
    String text((data.size() + 2) / 3 * 4, u'=');
    char16_t *out = text.data();
    const auto put = [&out](std::uint32_t twelveBits) {
        *out++ = base64Pairs[twelveBits].first;
        *out++ = base64Pairs[twelveBits].second;
    };
    std::size_t i = 0;
    for (; i + 2 < data.size(); i += 3) {
        const std::uint32_t group = std::uint32_t{data[i]} << 16 | std::uint32_t{data[i + 1]} << 8 | data[i + 2];
        put(group >> 12);
        put(group & 0xFFF);
    }
    if (i + 1 == data.size()) {
        put(std::uint32_t{data[i]} << 4);
    } else if (i < data.size()) {
        put(std::uint32_t{data[i]} << 4 | data[i + 1] >> 4);
        *out = basis_64[(data[i + 1] & 15u) << 2];
    }
    return text;
}

Data br_base64decode(StringView text) {
    std::size_t n = 0;
    std::size_t end = 0;
    for (; end < text.size() && (isLineBreak(text[end]) || sixBits(text[end]) != notBase64); ++end)
        n += isLineBreak(text[end]) ? 0u : 1u;
    Data data;
    data.reserve((n + 3) / 4 * 3 + 1);
    std::uint32_t group = 0;
    std::size_t bits = 0;
    for (const char16_t unit : text.substr(0, end)) {
        if (isLineBreak(unit))
            continue;
        group = group << 6 | sixBits(unit);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            data.push_back(static_cast<std::uint8_t>(group >> bits));
        }
    }
    return data;
}

String _br_stringWithFormat(DataView data, StringView format) {
    const DataView bytes = countedAsSigned32(data);
    String text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        const platform::FormatArgument value(int{byte});
        text += platform::stringWithRuntimeFormat(format, std::span(&value, 1));
    }
    return text;
}

String br_hex(DataView data) {
    return hexadecimal(data, lowerPairs);
}

String br_HEX(DataView data) {
    return hexadecimal(data, upperPairs);
}

String br_HeX(DataView data) {
    String text = br_hex(data);
    bool lower = false;
    for (char16_t &digit : text) {
        if (digit < u'a')
            continue;
        if (!lower)
            digit = static_cast<char16_t>(digit - u'a' + u'A');
        lower = !lower;
    }
    return text;
}

} // namespace brimle
