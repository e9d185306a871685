#include "brimle/BRCrypto.h"

#include "Foundation/NSFormat.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace brimle {
namespace {

constexpr StringView basis_64 = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t notBase64 = 64;

// Index in the alphabet by character; 64 for every other byte.
constexpr auto pr2six = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(notBase64);
    for (std::size_t i = 0; i < basis_64.size(); ++i)
        table[basis_64[i]] = static_cast<std::uint8_t>(i);
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

// Buffers grow by zeros, which are then overwritten: piece by piece that happens in the cache, all at once it is one
// more pass over memory.
constexpr std::size_t pieceLength = 4096;

// A text of `length` units, written by `fill(out, from, to)` for one range of units after the other.
template <class Fill>
String textOfPieces(std::size_t length, Fill fill) {
    String text;
    text.reserve(length);
    while (text.size() < length) {
        const std::size_t from = text.size();
        text.resize(std::min(from + pieceLength, length));
        fill(text.data() + from, from, text.size());
    }
    return text;
}

String hexadecimal(DataView data, const std::array<Pair, 256>& pairs) {
    const DataView bytes = countedAsSigned32(data);
    return textOfPieces(bytes.size() * 2, [&](char16_t* out, std::size_t from, std::size_t to) {
        for (std::size_t i = from / 2; i < to / 2; ++i, out += 2)
            std::memcpy(out, &pairs[bytes[i]], sizeof(Pair));
    });
}

char16_t* putTwelveBits(char16_t* out, std::uint64_t bits) {
    std::memcpy(out, &base64Pairs[bits & 0xFFF], sizeof(Pair));
    return out + 2;
}

// The characters of whole groups of 3 bytes.
void encodeGroups(DataView groups, char16_t* out) {
    std::size_t i = 0;
    for (; i + 8 <= groups.size(); i += 6) { // two groups out of one word
        std::uint64_t word = 0;
        for (std::size_t k = 0; k < 8; ++k)
            word = word << 8 | groups[i + k];
        for (const int shift : {52, 40, 28, 16})
            out = putTwelveBits(out, word >> shift);
    }
    for (; i < groups.size(); i += 3) {
        const std::uint32_t word = std::uint32_t{groups[i]} << 16 | std::uint32_t{groups[i + 1]} << 8 | groups[i + 2];
        out = putTwelveBits(putTwelveBits(out, word >> 12), word);
    }
}

// The last group, of 1 or 2 bytes.
void encodeRest(DataView rest, char16_t* out) {
    const std::uint32_t second = rest.size() > 1 ? rest[1] : 0;
    out = putTwelveBits(out, std::uint32_t{rest[0]} << 4 | second >> 4);
    out[0] = rest.size() > 1 ? basis_64[(second & 15) << 2] : u'=';
    out[1] = u'=';
}

// The six bits of each character in its place among the upper 24 of a group's word. What is not in the alphabet has a
// bit below these instead.
constexpr std::uint32_t notBase64Bit = 1;
constexpr auto bitsInGroup = [] {
    std::array<std::array<std::uint32_t, pr2six.size()>, 4> table{};
    for (std::size_t place = 0; place < table.size(); ++place)
        for (std::size_t i = 0; i < pr2six.size(); ++i)
            table[place][i] = pr2six[i] == notBase64 ? notBase64Bit : std::uint32_t{pr2six[i]} << (26 - 6 * place);
    return table;
}();

// Four characters' group. The tables see the lower bytes only, so units from 256 up are to be ruled out apart.
std::uint32_t groupOf(const char16_t* units) {
    return bitsInGroup[0][units[0] & 0xFF] | bitsInGroup[1][units[1] & 0xFF] | bitsInGroup[2][units[2] & 0xFF] |
           bitsInGroup[3][units[3] & 0xFF];
}

bool isAnyBeyondLatin1(const char16_t* fourUnits) {
    std::uint64_t word = 0;
    std::memcpy(&word, fourUnits, sizeof word);
    return (word & 0xFF00FF00FF00FF00) != 0;
}

class Base64Decoder {
public:
    // Room for what a text of this length holds at most: its count of characters is known only when it is decoded.
    explicit Base64Decoder(std::size_t length) { data_.reserve((length + 3) / 4 * groupSize + 1); }

    // Takes a piece of the text; false at a foreign character, which ends the input.
    bool take(StringView piece) {
        data_.resize(size_ + (place_ + piece.size()) / 4 * groupSize + 1); // groups are written with a byte too many
        const char16_t* units = piece.data();
        const char16_t* const end = units + piece.size();
        while (units < end) {
            if (place_ == 0)
                units = takeGroups(units, end);
            if (units < end && !takeUnit(*units++))
                return false;
        }
        return true;
    }

    // A last group of 2 or 3 characters holds 1 or 2 bytes; a character alone holds none.
    Data finish() {
        const std::size_t rest = place_ > 1 ? place_ - 1 : 0;
        data_.resize(size_);
        for (std::size_t i = 0; i < rest; ++i)
            data_.push_back(static_cast<std::uint8_t>(group_ >> (24 - 8 * i)));
        return std::move(data_);
    }

private:
    static constexpr std::size_t groupSize = 3;

    // Whole groups, up to one with anything but characters of the alphabet in it.
    const char16_t* takeGroups(const char16_t* units, const char16_t* end) {
        std::uint8_t* out = data_.data() + size_;
        for (; end - units >= 4; units += 4) {
            const std::uint32_t group = groupOf(units);
            if ((group & notBase64Bit) != 0 || isAnyBeyondLatin1(units))
                break;
            out = put(out, group);
        }
        size_ = static_cast<std::size_t>(out - data_.data());
        return units;
    }

    bool takeUnit(char16_t unit) {
        if (unit == u'\n' || unit == u'\r')
            return true;
        if (unit >= pr2six.size() || pr2six[unit] == notBase64)
            return false;
        group_ |= bitsInGroup[place_][unit];
        place_ = (place_ + 1) % 4;
        if (place_ == 0) {
            put(data_.data() + size_, std::exchange(group_, 0));
            size_ += groupSize;
        }
        return true;
    }

    // Writes the 3 bytes and a fourth that means nothing: compilers make one store of that.
    static std::uint8_t* put(std::uint8_t* out, std::uint32_t group) {
        for (const int shift : {24, 16, 8, 0})
            *out++ = static_cast<std::uint8_t>(group >> shift);
        return out - 1;
    }

    Data data_;
    std::size_t size_ = 0;    // of the whole groups written
    std::uint32_t group_ = 0; // the one that is not whole yet
    std::size_t place_ = 0;   // of the next character in it
};

} // namespace

const RandomDevice& systemRandomDevice() {
    static const RandomDevice device{[] { return open("/dev/urandom", O_RDONLY | O_CLOEXEC); }, read};
    return device;
}

Data br_randomData(std::int32_t length, const RandomDevice& device) {
    Data data(length < 0 ? 0 : static_cast<std::size_t>(length));
    const int descriptor = device.open();
    if (descriptor < 0)
        return data; // zeros: callers are promised a buffer, not an error
    // One read, whatever it delivers: what is missing stays zero.
    static_cast<void>(device.read(descriptor, data.data(), data.size()));
    close(descriptor);
    return data;
}

String br_base64encode(DataView data) {
    return textOfPieces((data.size() + 2) / 3 * 4, [data](char16_t* out, std::size_t from, std::size_t to) {
        const DataView bytes = data.subspan(from / 4 * 3);
        const std::size_t whole = std::min((to - from) / 4, bytes.size() / 3);
        encodeGroups(bytes.first(whole * 3), out);
        if (whole < (to - from) / 4)
            encodeRest(bytes.subspan(whole * 3), out + whole * 4);
    });
}

Data br_base64decode(StringView text) {
    Base64Decoder decoder(text.size());
    while (!text.empty() && decoder.take(text.substr(0, pieceLength)))
        text.remove_prefix(std::min(text.size(), pieceLength));
    return decoder.finish();
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
    for (char16_t& digit : text) {
        if (digit < u'a')
            continue;
        if (!lower)
            digit = static_cast<char16_t>(digit - u'a' + u'A');
        lower = !lower;
    }
    return text;
}

} // namespace brimle
