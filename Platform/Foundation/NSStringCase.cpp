#include "NSStringCase.h"

#include "NSCharacterSet.h"

#include <algorithm>
#include <memory>
#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

namespace platform {
namespace {

// ICU counts in 32 bits; a longer text is mapped in pieces, far below the point where a result could overflow.
constexpr std::size_t pieceLength = std::size_t{1} << 28;

// Appends what map(to, capacity, from, length, &error) makes of the text.
template <class Map>
void appendMapped(String& out, StringView text, Map map) {
    for (std::size_t begin = 0; begin < text.size(); begin += pieceLength) {
        const StringView piece = text.substr(begin, pieceLength);
        const auto length = static_cast<int32_t>(piece.size());
        const std::size_t written = out.size();
        int32_t needed = length;
        UErrorCode error = U_BUFFER_OVERFLOW_ERROR;
        while (error == U_BUFFER_OVERFLOW_ERROR) { // at most twice: the first call tells the length
            out.resize(written + static_cast<std::size_t>(needed));
            error = U_ZERO_ERROR;
            needed = map(out.data() + written, needed, piece.data(), length, &error);
        }
        out.resize(written + static_cast<std::size_t>(needed));
    }
}

bool continuesWord(char32_t character) {
    constexpr char32_t softHyphen = 0xAD;
    constexpr char32_t rightQuotationMark = 0x2019;
    if (character == u'\'' || character == softHyphen || character == rightQuotationMark)
        return true;
    const auto type = u_charType(static_cast<UChar32>(character));
    return type == U_NON_SPACING_MARK || type == U_COMBINING_SPACING_MARK || type == U_ENCLOSING_MARK;
}

std::size_t endOfWord(StringView text, std::size_t begin) {
    for (std::size_t i = begin; i < text.size();) {
        char32_t character = 0;
        const std::size_t next = NSCharacterSet::nextCharacter(text, i, &character);
        if (!u_hasBinaryProperty(static_cast<UChar32>(character), UCHAR_CASED) && !continuesWord(character))
            return i;
        i = next;
    }
    return text.size();
}

// False, and the text spoiled, when it is not ASCII alone.
bool lowerIfASCII(String& text) {
    unsigned all = 0;
    for (char16_t& unit : text) {
        all |= unit;
        unit = static_cast<char16_t>(unit | (unit >= u'A' && unit <= u'Z' ? 0x20 : 0));
    }
    return all < 0x80;
}

} // namespace

String lowercaseString(StringView text) {
    String out(text);
    if (lowerIfASCII(out))
        return out;
    out.clear();
    appendMapped(out, text,
                 [](char16_t* to, int32_t capacity, const char16_t* from, int32_t length, UErrorCode* error) {
                     return u_strToLower(to, capacity, from, length, "", error);
                 });
    return out;
}

String capitalizedString(StringView text) {
    UErrorCode opened = U_ZERO_ERROR;
    const std::unique_ptr<UCaseMap, void (*)(UCaseMap*)> map(
        ucasemap_open("", U_TITLECASE_WHOLE_STRING | U_TITLECASE_NO_BREAK_ADJUSTMENT, &opened), ucasemap_close);
    String out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        char32_t character = 0;
        const std::size_t next = NSCharacterSet::nextCharacter(text, i, &character);
        if (!map || !u_hasBinaryProperty(static_cast<UChar32>(character), UCHAR_CASED)) {
            out.append(text.substr(i, next - i));
            i = next;
            continue;
        }
        const std::size_t end = endOfWord(text, i);
        appendMapped(out, text.substr(i, end - i),
                     [&map](char16_t* to, int32_t capacity, const char16_t* in, int32_t length, UErrorCode* error) {
                         return ucasemap_toTitle(map.get(), to, capacity, in, length, error);
                     });
        i = end;
    }
    return out;
}

} // namespace platform
