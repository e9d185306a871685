#include "brimle/NSString+BrimleHTML.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace brimle {
namespace {

constexpr std::size_t asciiCount = 0x80;
constexpr char16_t lineSeparator = 0x2028;

constexpr std::size_t longest = 8; // "&#65535;"

// What stands for one character, with room to be copied as one block; no units where it stands for itself.
struct Replacement {
    std::array<char16_t, longest> units{};
    std::size_t length = 0;

    constexpr Replacement() = default;
    constexpr explicit Replacement(StringView text) : length(text.size()) {
        for (std::size_t i = 0; i < length; ++i)
            units[i] = text[i];
    }
};

struct Rule {
    char16_t character;
    StringView replacement;
};

using Replacements = std::array<Replacement, asciiCount>;

template <std::size_t count>
consteval Replacements makeReplacements(const Rule (&rules)[count]) {
    Replacements table{};
    for (const Rule& rule : rules)
        table[rule.character] = Replacement(rule.replacement);
    return table;
}

constexpr Replacements printable =
    makeReplacements({{u'&', u"&amp;"}, {u'>', u"&gt;"}, {u'<', u"&lt;"}, {u'\n', u"<br />"}, {u'\r', u"<br />"}});

constexpr Replacements script = makeReplacements({{u'&', u"&amp;"},
                                                  {u'>', u"&gt;"},
                                                  {u'<', u"&lt;"},
                                                  {u'\\', u"\\\\"},
                                                  {u'\n', u"\\n"},
                                                  {u'"', u"&quot;"},
                                                  {u'\'', u"\\'"}});

constexpr Replacements plain =
    makeReplacements({{u'\n', u"<br/>"}, {u'"', u"&quot;"}, {u'&', u"&amp;"}, {u'<', u"&lt;"}, {u'>', u"&gt;"}});

char16_t* put(char16_t* out, const Replacement& replacement) {
    std::memcpy(out, replacement.units.data(), sizeof replacement.units);
    return out + replacement.length;
}

// Copies the text with what `replace(i, out)` writes at every position whose unit the table replaces or `isOther`
// accepts; it sets `i` behind the units that it answers for and returns the end of what it wrote, at most `longest`
// units. The copy is made piece by piece in a buffer that stays in the first-level cache.
template <class IsOther, class Replace>
String rewritten(StringView text, const Replacements& table, IsOther isOther, Replace replace) {
    constexpr std::size_t pieceLength = 256;
    std::array<char16_t, pieceLength * longest> buffer;
    String out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        char16_t* end = buffer.data();
        for (const std::size_t pieceEnd = std::min(i + pieceLength, text.size()); i < pieceEnd;) {
            const char16_t unit = text[i];
            if (unit < asciiCount ? table[unit].length != 0 : isOther(unit)) {
                end = replace(i, end);
            } else {
                *end++ = unit;
                ++i;
            }
        }
        out.append(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    }
    return out;
}

// How many units of the text the line break at `i` takes. Pairs of CR and LF go first, then pairs of LF and CR made of
// what is left: an LF does not take a CR that has an LF of its own.
std::size_t breakLength(StringView text, std::size_t i) {
    const StringView rest = text.substr(i);
    if (rest.starts_with(u"\r\n"))
        return 2;
    return rest.starts_with(u"\n\r") && !rest.starts_with(u"\n\r\n") ? 2 : 1;
}

// "&#", the number in decimal, ";".
char16_t* putReference(char16_t* out, unsigned value) {
    std::array<char, longest> digits{};
    const auto [end, error] = std::to_chars(digits.begin(), digits.end(), value);
    *out++ = u'&';
    *out++ = u'#';
    out = std::copy(digits.begin(), end, out);
    *out++ = u';';
    return out;
}

} // namespace

String br_asPrintableHTML(StringView text) {
    const auto isOther = [](char16_t unit) { return unit == lineSeparator; };
    return rewritten(text, printable, isOther, [text](std::size_t& i, char16_t* out) {
        const char16_t unit = text[i];
        i += unit == u'\n' || unit == u'\r' ? breakLength(text, i) : 1;
        return put(out, printable[unit < asciiCount ? unit : u'\n']);
    });
}

String br_html(StringView text) {
    return br_asPrintableHTML(text);
}

String br_javascript(StringView text) {
    const auto isOther = [](char16_t) { return false; };
    return rewritten(text, script, isOther,
                     [text](std::size_t& i, char16_t* out) { return put(out, script[text[i++]]); });
}

String br_htmlString(StringView text) {
    const auto isOther = [](char16_t) { return true; };
    return rewritten(text, plain, isOther, [text](std::size_t& i, char16_t* out) {
        const char16_t unit = text[i++];
        return unit < asciiCount ? put(out, plain[unit]) : putReference(out, unit);
    });
}

} // namespace brimle
