#include "TerminalText.h"

#include <array>
#include <cstdio>

namespace tessaro_record {

using platform::DataView;

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// Controls, line and paragraph separators, and what Unicode calls format characters: they have no picture of their own.
constexpr Range unsafe[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},       {0x600, 0x605},     {0x61C, 0x61C},    {0x6DD, 0x6DD},
    {0x70F, 0x70F},   {0x180E, 0x180E}, {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},  {0xFE00, 0xFE0F},
    {0xFEFF, 0xFEFF}, {0xFFF0, 0xFFFB}, {0x110BD, 0x110BD}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};

bool isUnsafe(char32_t character) {
    for (const Range& range : unsafe)
        if (character >= range.first && character <= range.last)
            return true;
    return false;
}

struct Character {
    char32_t value = 0;
    std::size_t length = 0; // in bytes; 0 when the bytes are no UTF-8
};

// REQUIRES: text not empty.
Character firstCharacter(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const auto units = platform::stringWithUTF8(text.substr(0, length));
    if (!units || text.size() < length)
        return {};
    char32_t value = units->at(0);
    if (units->size() == 2)
        value = 0x10000 + ((value - 0xD800) << 10) + (units->at(1) - char32_t{0xDC00});
    return {value, length};
}

template <class... Arguments>
std::string formatted(const char* format, Arguments... arguments) {
    std::array<char, 32> buffer{};
    std::snprintf(buffer.data(), buffer.size(), format, arguments...);
    return buffer.data();
}

std::string JSONEscape(char32_t value) {
    if (value < 0x10000)
        return formatted("\\u%04x", static_cast<unsigned>(value));
    return formatted("\\u%04x\\u%04x", static_cast<unsigned>(0xD7C0 + (value >> 10)),
                     static_cast<unsigned>(0xDC00 | (value & 0x3FF)));
}

} // namespace

std::string terminalText(DataView bytes, std::size_t limit) {
    std::string shown;
    std::string_view rest = platform::bytesAsCharacters(bytes);
    for (std::size_t count = 0; !rest.empty(); ++count) {
        if (count == limit)
            return shown + "...";
        const Character character = firstCharacter(rest);
        if (character.length == 0)
            shown += formatted("\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(rest[0])));
        else if (character.value == U'\\')
            shown += "\\\\";
        else if (isUnsafe(character.value))
            shown += formatted("\\u{%x}", static_cast<unsigned>(character.value));
        else
            shown += rest.substr(0, character.length);
        rest.remove_prefix(character.length == 0 ? 1 : character.length);
    }
    return shown;
}

std::optional<std::string> JSONString(DataView bytes) {
    std::string quoted = "\"";
    for (std::string_view rest = platform::bytesAsCharacters(bytes); !rest.empty();) {
        const Character character = firstCharacter(rest);
        if (character.length == 0)
            return std::nullopt;
        if (character.value == U'"' || character.value == U'\\')
            quoted += '\\';
        if (isUnsafe(character.value))
            quoted += JSONEscape(character.value);
        else
            quoted += rest.substr(0, character.length);
        rest.remove_prefix(character.length);
    }
    return quoted + "\"";
}

} // namespace tessaro_record
