#include "brimle/NSString+BrimleHTML.h"

#include <array>
#include <charconv>

namespace brimle {
namespace {

constexpr std::size_t asciiCount = 0x80;
constexpr char16_t lineSeparator = 0x2028;

// What stands for each ASCII character; empty where it stands for itself.
using Replacements = std::array<StringView, asciiCount>;

struct Replacement {
    char16_t character;
    StringView text;
};

template <std::size_t count>
consteval Replacements makeReplacements(const Replacement (&list)[count]) {
    Replacements table{};
    for (const Replacement& entry : list)
        table[entry.character] = entry.text;
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

// Copies the text, unchanged runs in one piece, with replacements. `replace(out, i)` is asked at every position whose
// unit has one or `isOther` accepts; it appends what stands for the units that it answers for, and returns their
// number.
template <class IsOther, class Replace>
String rewritten(StringView text, const Replacements& table, IsOther isOther, Replace replace) {
    String out;
    out.reserve(text.size());
    std::size_t run = 0;
    for (std::size_t i = 0; i < text.size();) {
        const char16_t unit = text[i];
        if (unit < asciiCount ? table[unit].empty() : !isOther(unit)) {
            ++i;
            continue;
        }
        out.append(text.substr(run, i - run));
        i += replace(out, i);
        run = i;
    }
    out.append(text.substr(run));
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

void appendReference(String& out, char16_t unit) {
    std::array<char, 8> digits{};
    const auto [end, error] = std::to_chars(digits.begin(), digits.end(), static_cast<unsigned>(unit));
    out.append(u"&#").append(digits.begin(), end).append(u";");
}

} // namespace

String br_asPrintableHTML(StringView text) {
    const auto isOther = [](char16_t unit) { return unit == lineSeparator; };
    return rewritten(text, printable, isOther, [text](String& out, std::size_t i) {
        const char16_t unit = text[i];
        out.append(unit < asciiCount ? printable[unit] : u"<br />");
        return unit == u'\n' || unit == u'\r' ? breakLength(text, i) : 1;
    });
}

String br_html(StringView text) {
    return br_asPrintableHTML(text);
}

String br_javascript(StringView text) {
    const auto isOther = [](char16_t) { return false; };
    return rewritten(text, script, isOther, [text](String& out, std::size_t i) {
        out.append(script[text[i]]);
        return std::size_t{1};
    });
}

String br_htmlString(StringView text) {
    const auto isOther = [](char16_t) { return true; };
    return rewritten(text, plain, isOther, [text](String& out, std::size_t i) {
        const char16_t unit = text[i];
        if (unit < asciiCount)
            out.append(plain[unit]);
        else
            appendReference(out, unit);
        return std::size_t{1};
    });
}

} // namespace brimle
