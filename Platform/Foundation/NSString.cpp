#include "NSString.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr char16_t replacementCharacter = 0xFFFD;

constexpr bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

void appendUTF8(std::string& out, char32_t character) {
    const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | character >> 6);
        put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        put(0xE0 | character >> 12);
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    } else {
        put(0xF0 | character >> 18);
        put(0x80 | (character >> 12 & 0x3F));
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    }
}

// Returns false at the first lone surrogate unless a replacement is wanted.
bool encodeUTF8(StringView text, bool replaceLoneSurrogates, std::string& out) {
    // Room for the longest outcome at once: a text that is a secret must not leave pieces behind in freed memory.
    std::size_t bound = 0;
    for (const char16_t unit : text)
        bound += unit < 0x80 ? 1u : unit < 0x800 ? 2u : 3u;
    out.reserve(bound);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            const char16_t low = text[++i];
            appendUTF8(out, 0x10000 + ((unit & 0x3FFu) << 10) + (low & 0x3FFu));
        } else if (isHighSurrogate(unit) || isLowSurrogate(unit)) {
            if (!replaceLoneSurrogates)
                return false;
            appendUTF8(out, replacementCharacter);
        } else {
            appendUTF8(out, unit);
        }
    }
    return true;
}

std::string homeDirectory(const std::string& user) {
    if (user.empty()) {
        if (const char* home = std::getenv("HOME"); home && *home)
            return home;
    }
    const passwd* entry = user.empty() ? getpwuid(geteuid()) : getpwnam(user.c_str());
    return entry && entry->pw_dir ? entry->pw_dir : "";
}

} // namespace

std::optional<std::string> UTF8String(StringView text) {
    std::string out;
    if (!encodeUTF8(text, false, out))
        return std::nullopt;
    return out;
}

std::string lossyUTF8String(StringView text) {
    std::string out;
    encodeUTF8(text, true, out);
    return out;
}

std::optional<String> stringWithUTF8(std::string_view bytes) {
    String out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<std::uint8_t>(bytes[i]);
        if (lead < 0x80) {
            out.push_back(lead);
            ++i;
            continue;
        }
        const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        if (lead < 0xC2 || lead > 0xF4 || i + length > bytes.size())
            return std::nullopt;
        char32_t character = lead & (0xFFu >> (length + 1));
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<std::uint8_t>(bytes[i + k]);
            if ((next & 0xC0) != 0x80)
                return std::nullopt;
            character = character << 6 | (next & 0x3Fu);
        }
        constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (character < smallest[length] || character > 0x10FFFF || (character >= 0xD800 && character < 0xE000))
            return std::nullopt;
        if (character < 0x10000) {
            out.push_back(static_cast<char16_t>(character));
        } else {
            out.push_back(static_cast<char16_t>(0xD7C0 + (character >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 | (character & 0x3FF)));
        }
        i += length;
    }
    return out;
}

String stringWithUTF8OrLatin1(std::string_view bytes) {
    if (auto text = stringWithUTF8(bytes))
        return *std::move(text);
    String out;
    out.reserve(bytes.size());
    for (const char byte : bytes)
        out.push_back(static_cast<std::uint8_t>(byte));
    return out;
}

String stringByExpandingTildeInPath(StringView path) {
    if (!path.starts_with(u'~'))
        return String(path);
    const std::size_t end = std::min(path.find(u'/'), path.size());
    const auto user = UTF8String(path.substr(1, end - 1));
    const std::string home = user ? homeDirectory(*user) : "";
    if (home.empty())
        return String(path);
    return stringWithUTF8OrLatin1(home) + String(path.substr(end));
}

String stringByDeletingLastPathComponent(StringView path) {
    const std::size_t lastCharacter = path.find_last_not_of(u'/');
    if (lastCharacter == StringView::npos)
        return path.empty() ? String() : String(u"/");
    const std::size_t slash = path.find_last_of(u'/', lastCharacter);
    if (slash == StringView::npos)
        return String();
    const std::size_t end = path.find_last_not_of(u'/', slash);
    return end == StringView::npos ? String(u"/") : String(path.substr(0, end + 1));
}

} // namespace platform
