#include "NSStringCase.h"

#include <algorithm>
#include <unicode/ustring.h>

namespace platform {
namespace {

// ICU counts in 32 bits; a longer text is mapped in pieces, far below the point where a result could overflow.
constexpr std::size_t pieceLength = std::size_t{1} << 28;

using CaseMap = int32_t (*)(char16_t* out, int32_t capacity, const char16_t* in, int32_t length, UErrorCode* error);

String mapped(StringView text, CaseMap map) {
    String out;
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
    return out;
}

} // namespace

String lowercaseString(StringView text) {
    if (std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; })) {
        String out(text);
        for (char16_t& unit : out)
            if (unit >= u'A' && unit <= u'Z')
                unit |= 0x20;
        return out;
    }
    return mapped(text, [](char16_t* out, int32_t capacity, const char16_t* in, int32_t length, UErrorCode* error) {
        return u_strToLower(out, capacity, in, length, "", error);
    });
}

} // namespace platform
