#include "brimle/NSString+BrimlePlain.h"

#include <algorithm>
#include <array>

namespace brimle {
namespace {

struct Accented {
    char16_t letter;
    char16_t replacement;
};

// Frozen: names stored under a stripped form are found again only as long as they are stripped the same way.
constexpr std::array<Accented, 48> accentTable{{
    {0xC0, u'A'}, {0xC1, u'A'}, {0xC2, u'A'}, {0xC3, u'A'}, {0xC4, u'A'}, {0xE0, u'a'}, {0xE1, u'a'},  {0xE2, u'a'},
    {0xE3, u'a'}, {0xE4, u'a'}, {0xC8, u'E'}, {0xC9, u'E'}, {0xCA, u'E'}, {0xCB, u'E'}, {0xE8, u'e'},  {0xE9, u'e'},
    {0xEA, u'e'}, {0xEB, u'e'}, {0xCC, u'I'}, {0xCD, u'I'}, {0xCE, u'I'}, {0xCF, u'I'}, {0xEC, u'i'},  {0xED, u'i'},
    {0xEE, u'i'}, {0xEF, u'i'}, {0xD1, u'N'}, {0xF1, u'n'}, {0xD2, u'O'}, {0xD3, u'O'}, {0xD4, u'O'},  {0xD5, u'O'},
    {0xD6, u'O'}, {0xF2, u'o'}, {0xF3, u'o'}, {0xF4, u'o'}, {0xF5, u'o'}, {0xF6, u'o'}, {0xD9, u'U'},  {0xDA, u'U'},
    {0xDB, u'U'}, {0xDC, u'U'}, {0xF9, u'u'}, {0xFA, u'u'}, {0xFB, u'u'}, {0xFC, u'u'}, {0x178, u'Y'}, {0xFF, u'y'},
}};

constexpr char16_t firstAccented = 0xC0;
constexpr char16_t lastAccented = 0x178;

// What stands for each unit from firstAccented to lastAccented.
consteval auto makePlainLetters() {
    std::array<char16_t, lastAccented - firstAccented + 1> letters{};
    for (std::size_t i = 0; i < letters.size(); ++i)
        letters[i] = static_cast<char16_t>(firstAccented + i);
    for (const Accented& entry : accentTable)
        letters[static_cast<std::size_t>(entry.letter - firstAccented)] = entry.replacement;
    return letters;
}

constexpr auto plainLetters = makePlainLetters();

constexpr StringView shellSpecial = u"'\" ()$&;`{}<>";
static_assert(shellSpecial.size() == 13);

constexpr std::size_t longestTag = 2048;

} // namespace

String br_stringByStrippingAccentMarks(StringView text) {
    String out(text);
    for (char16_t& unit : out)
        if (unit >= firstAccented && unit <= lastAccented)
            unit = plainLetters[static_cast<std::size_t>(unit - firstAccented)];
    return out;
}

// A backslash is only ever added right before the character that it escapes, so what stands before a character is what
// stood before it in the text: one pass does what a pass for each of the characters would.
String br_stringAsLegalFilePath(StringView text) {
    String out;
    out.reserve(text.size() + text.size() / 8);
    char16_t previous = 0;
    for (const char16_t unit : text) {
        if (previous != u'\\' && shellSpecial.find(unit) != StringView::npos)
            out.push_back(u'\\');
        out.push_back(unit == u':' ? u'_' : unit);
        previous = unit;
    }
    return out;
}

String br_validPredicateFormatString(StringView text) {
    String out(text);
    std::replace_if(
        out.begin(), out.end(), [](char16_t unit) { return unit == u'\n' || unit == u'\r' || unit == u'\f'; }, u' ');
    return out;
}

String br_validTagString(StringView text) {
    return br_validPredicateFormatString(text.substr(0, longestTag));
}

} // namespace brimle
