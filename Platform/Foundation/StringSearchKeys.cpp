#include "StringSearchKeys.h"

#include "NSCharacterSet.h"

#include <algorithm>
#include <array>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

namespace platform {
namespace {

constexpr NSStringCompareOptions folding =
    NSCaseInsensitiveSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch;
constexpr char32_t firstCombining = 0x300; // below it no character joins the one before it

// No mapping of one character is longer: 18 units are the longest compatibility decomposition, 3 the longest folding.
using Mapping = std::array<char16_t, 32>;

struct Character {
    char32_t value;
    std::uint8_t combiningClass;
};

class KeyMaker {
public:
    explicit KeyMaker(NSStringCompareOptions options) : options_(options) {
        UErrorCode error = U_ZERO_ERROR;
        composed_ = unorm2_getNFCInstance(&error);
        canonical_ = unorm2_getNFDInstance(&error);
        compatible_ = unorm2_getNFKDInstance(&error);
        ready_ = U_SUCCESS(error) != 0;
    }

    SearchKeys make(StringView text);

private:
    [[nodiscard]] bool has(NSStringCompareOptions option) const { return (options_ & option) != 0; }
    [[nodiscard]] bool beginsElement(char32_t character) const {
        return character < firstCombining || has(NSLiteralSearch) || !ready_ ||
               unorm2_hasBoundaryBefore(composed_, static_cast<UChar32>(character));
    }
    void add(char32_t character);
    void addFolded(char32_t character);
    void addDecomposed(char32_t character);
    void addPlain(char32_t character);
    void finishElement(std::size_t begin);

    NSStringCompareOptions options_;
    bool ready_ = false;
    const UNormalizer2* composed_ = nullptr;
    const UNormalizer2* canonical_ = nullptr;
    const UNormalizer2* compatible_ = nullptr;
    std::vector<Character> element_;
    SearchKeys out_;
};

template <class Action>
void forEachCharacter(const Mapping& mapping, int32_t length, Action action) {
    const StringView text(mapping.data(), static_cast<std::size_t>(length));
    for (std::size_t i = 0; i < text.size();) {
        char32_t character = 0;
        i = NSCharacterSet::nextCharacter(text, i, &character);
        action(character);
    }
}

void KeyMaker::add(char32_t character) {
    if (has(NSWidthInsensitiveSearch) && ready_) {
        const int type = u_getIntPropertyValue(static_cast<UChar32>(character), UCHAR_DECOMPOSITION_TYPE);
        if (type == U_DT_WIDE || type == U_DT_NARROW) {
            Mapping mapping;
            UErrorCode error = U_ZERO_ERROR;
            const int32_t length = unorm2_getDecomposition(compatible_, static_cast<UChar32>(character), mapping.data(),
                                                           mapping.size(), &error);
            forEachCharacter(mapping, U_SUCCESS(error) ? length : 0, [this](char32_t c) { addFolded(c); });
            return;
        }
    }
    addFolded(character);
}

void KeyMaker::addFolded(char32_t character) {
    if (!has(NSCaseInsensitiveSearch) || (character & 0xFFFFF800) == 0xD800) {
        addDecomposed(character);
        return;
    }
    Mapping source;
    int32_t sourceLength = 0;
    U16_APPEND_UNSAFE(source.data(), sourceLength, character);
    Mapping mapping;
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length =
        u_strFoldCase(mapping.data(), mapping.size(), source.data(), sourceLength, U_FOLD_CASE_DEFAULT, &error);
    if (U_FAILURE(error)) {
        addDecomposed(character);
        return;
    }
    forEachCharacter(mapping, length, [this](char32_t c) { addDecomposed(c); });
}

void KeyMaker::addDecomposed(char32_t character) {
    // Dropping accents from composed letters needs them apart, also in a literal search.
    if (!ready_ || (has(NSLiteralSearch) && !has(NSDiacriticInsensitiveSearch))) {
        addPlain(character);
        return;
    }
    Mapping mapping;
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length =
        unorm2_getDecomposition(canonical_, static_cast<UChar32>(character), mapping.data(), mapping.size(), &error);
    if (U_FAILURE(error) || length < 0) {
        addPlain(character);
        return;
    }
    forEachCharacter(mapping, length, [this](char32_t c) { addPlain(c); });
}

void KeyMaker::addPlain(char32_t character) {
    const auto code = static_cast<UChar32>(character);
    if (has(NSDiacriticInsensitiveSearch) && u_charType(code) == U_NON_SPACING_MARK)
        return;
    element_.push_back({character, character < firstCombining ? std::uint8_t{0} : u_getCombiningClass(code)});
}

void KeyMaker::finishElement(std::size_t begin) {
    if (!has(NSLiteralSearch)) {
        // Canonical order: within a run of marks by class, otherwise as written.
        for (auto run = element_.begin(); run != element_.end();) {
            const auto isMark = [](const Character& c) { return c.combiningClass != 0; };
            run = std::find_if(run, element_.end(), isMark);
            const auto runEnd = std::find_if_not(run, element_.end(), isMark);
            std::stable_sort(run, runEnd, [](const Character& a, const Character& b) {
                return a.combiningClass < b.combiningClass;
            });
            run = runEnd;
        }
    }
    for (const Character& character : element_) {
        char16_t units[2];
        std::size_t length = 0;
        if (character.value < 0x10000)
            units[length++] = static_cast<char16_t>(character.value);
        else
            U16_APPEND_UNSAFE(units, length, character.value);
        for (std::size_t k = 0; k < length; ++k) {
            out_.sources.push_back(begin);
            begin = SearchKeys::inside;
            out_.keys.push_back(units[k]);
        }
    }
    element_.clear();
}

SearchKeys KeyMaker::make(StringView text) {
    out_.keys.reserve(text.size());
    out_.sources.reserve(text.size() + 1);
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size();) {
        char32_t character = 0;
        const std::size_t next = NSCharacterSet::nextCharacter(text, i, &character);
        if (i > begin && beginsElement(character)) {
            finishElement(begin);
            begin = i;
        }
        add(character);
        i = next;
    }
    finishElement(begin);
    out_.sources.push_back(text.size());
    return std::move(out_);
}

bool isASCII(StringView text) {
    return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
}

} // namespace

bool comparesUnits(StringView text, StringView wanted, NSStringCompareOptions options) {
    if ((options & folding) != 0)
        return false;
    return (options & NSLiteralSearch) != 0 || (isASCII(text) && isASCII(wanted));
}

SearchKeys makeSearchKeys(StringView text, NSStringCompareOptions options) {
    return KeyMaker(options).make(text);
}

} // namespace platform
