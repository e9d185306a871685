// The text operations done the long way: whole-string replacements and searches one after another, positions moved step
// by step. Slow and plain on purpose: what the library does in one pass is compared with these.
#pragma once

#include "Foundation/NSStringCase.h"
#include "brimle/Latin1Entities.h"
#include "brimle/TLDs.h"

#include <string>
#include <utility>

namespace reference {

using platform::String;
using platform::StringView;

inline String wide(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

// Every occurrence, from left to right.
inline String replacingAll(StringView text, StringView target, StringView replacement) {
    String out;
    std::size_t copied = 0;
    for (std::size_t at = text.find(target); at != StringView::npos; at = text.find(target, copied)) {
        out.append(text.substr(copied, at - copied)).append(replacement);
        copied = at + target.size();
    }
    return out.append(text.substr(copied));
}

inline String replacingChain(StringView text, std::initializer_list<std::pair<StringView, StringView>> chain) {
    String work(text);
    for (const auto& [target, replacement] : chain)
        work = replacingAll(work, target, replacement);
    return work;
}

inline String asPrintableHTML(StringView text) {
    return replacingChain(text, {{u"&", u"&amp;"},
                                 {u">", u"&gt;"},
                                 {u"<", u"&lt;"},
                                 {u"\r\n", u"<br />"},
                                 {u"\n\r", u"<br />"},
                                 {u"\n", u"<br />"},
                                 {u"\r", u"<br />"},
                                 {u"\u2028", u"<br />"}});
}

inline String javascript(StringView text) {
    return replacingChain(text, {{u"&", u"&amp;"},
                                 {u">", u"&gt;"},
                                 {u"<", u"&lt;"},
                                 {u"\\", u"\\\\"},
                                 {u"\n", u"\\n"},
                                 {u"\"", u"&quot;"},
                                 {u"'", u"\\'"}});
}

inline String htmlString(StringView text) {
    String out;
    for (const char16_t unit : text) {
        if (unit >= 128)
            out += u"&#" + wide(std::to_string(static_cast<unsigned>(unit))) + u";";
        else if (unit == u'\n')
            out += u"<br/>";
        else if (unit == u'"')
            out += u"&quot;";
        else if (unit == u'&')
            out += u"&amp;";
        else if (unit == u'<')
            out += u"&lt;";
        else if (unit == u'>')
            out += u"&gt;";
        else
            out += unit;
    }
    return out;
}

// The same as a chain, for texts without other characters beyond ASCII than these: a search for each of 65,408 units
// would be no fair peer.
inline String htmlStringChain(StringView text) {
    return replacingChain(text, {{u"&", u"&amp;"},
                                 {u"<", u"&lt;"},
                                 {u">", u"&gt;"},
                                 {u"\"", u"&quot;"},
                                 {u"\n", u"<br/>"},
                                 {u"\u00E9", u"&#233;"},
                                 {u"\u2013", u"&#8211;"}});
}

inline bool isWhiteSpace(char16_t unit) {
    return StringView(u"\t\n\v\f\r \u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A"
                      u"\u2028\u2029\u202F\u205F\u3000")
               .find(unit) != StringView::npos;
}

// A number as 32 bits, the nearest one where it does not fit.
inline std::uint32_t scannedNumber(StringView text) {
    const bool isHexadecimal = text.starts_with(u'x');
    if (isHexadecimal)
        text.remove_prefix(1);
    while (!text.empty() && isWhiteSpace(text[0]))
        text.remove_prefix(1);
    bool isNegative = false;
    if (isHexadecimal && text.size() >= 2 && text[0] == u'0' && (text[1] == u'x' || text[1] == u'X'))
        text.remove_prefix(2);
    else if (!isHexadecimal && !text.empty() && (text[0] == u'-' || text[0] == u'+')) {
        isNegative = text[0] == u'-';
        text.remove_prefix(1);
    }
    const StringView digits = isHexadecimal ? u"0123456789abcdef" : u"0123456789";
    double value = 0; // wide enough to see that a number does not fit
    for (; !text.empty(); text.remove_prefix(1)) {
        const char16_t lower = text[0] >= u'A' && text[0] <= u'F' ? static_cast<char16_t>(text[0] + 32) : text[0];
        const std::size_t digit = digits.find(lower);
        if (digit == StringView::npos)
            break;
        value = value * static_cast<double>(digits.size()) + static_cast<double>(digit);
    }
    if (isHexadecimal)
        return value > 4294967295.0 ? 4294967295u : static_cast<std::uint32_t>(value);
    if (isNegative)
        return value > 2147483648.0 ? 0x80000000u : 0u - static_cast<std::uint32_t>(value);
    return value > 2147483647.0 ? 0x7FFFFFFFu : static_cast<std::uint32_t>(value);
}

inline String decodingHTMLEntities(StringView text) {
    if (text.find(u'&') == StringView::npos)
        return String(text);
    String work(text);
    for (std::size_t i = 0; i < brimle::Latin1Entities.size(); ++i) {
        const String entity = wide(brimle::Latin1Entities[i]);
        if (work.find(entity) != String::npos)
            work = replacingAll(work, entity, String(1, static_cast<char16_t>(160 + i)));
    }
    std::size_t p = 0;
    for (std::size_t length = work.size(); p < length; length = work.size()) {
        const std::size_t a = work.find(u"&#", p);
        const std::size_t s = work.find(u';', p);
        if (a == String::npos || s == String::npos || s <= a) {
            ++p;
            continue;
        }
        const String number = work.substr(a + 2, s - a - 2);
        work.erase(a, s - a + 1);
        work.insert(a, 1, static_cast<char16_t>(scannedNumber(number) & 0xFFFF));
        p = a;
    }
    return work;
}

inline String strippingAccentMarks(StringView text) {
    constexpr std::pair<char16_t, StringView> rows[] = {{u'A', u"\u00C0\u00C1\u00C2\u00C3\u00C4"},
                                                        {u'a', u"\u00E0\u00E1\u00E2\u00E3\u00E4"},
                                                        {u'E', u"\u00C8\u00C9\u00CA\u00CB"},
                                                        {u'e', u"\u00E8\u00E9\u00EA\u00EB"},
                                                        {u'I', u"\u00CC\u00CD\u00CE\u00CF"},
                                                        {u'i', u"\u00EC\u00ED\u00EE\u00EF"},
                                                        {u'N', u"\u00D1"},
                                                        {u'n', u"\u00F1"},
                                                        {u'O', u"\u00D2\u00D3\u00D4\u00D5\u00D6"},
                                                        {u'o', u"\u00F2\u00F3\u00F4\u00F5\u00F6"},
                                                        {u'U', u"\u00D9\u00DA\u00DB\u00DC"},
                                                        {u'u', u"\u00F9\u00FA\u00FB\u00FC"},
                                                        {u'Y', u"\u0178"},
                                                        {u'y', u"\u00FF"}};
    String work(text);
    for (const auto& [letter, accented] : rows)
        for (std::size_t i = 0; i < accented.size(); ++i)
            work = replacingAll(work, accented.substr(i, 1), StringView(&letter, 1));
    return work;
}

inline String asLegalFilePath(StringView text) {
    String work(text);
    for (const char16_t special : StringView(u"'\" ()$&;`{}<>")) {
        std::size_t start = 0;
        while (start < work.size()) {
            const std::size_t i = work.find(special, start);
            if (i == String::npos)
                break;
            if (i == 0 || work[i - 1] != u'\\')
                work.replace(i, 1, String{u'\\', special});
            start = i + 1;
        }
    }
    return replacingAll(work, u":", u"_");
}

// UTF-8 in which a lone surrogate keeps its number, as three bytes, so that nothing is lost.
inline std::string bytesOf(StringView text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000)
            c = 0x10000 + (c - 0xD800) * 0x400 + (text[++i] - 0xDC00u);
        const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
        if (c >= 0x10000)
            put(0xF0 + c / 0x40000), put(0x80 + c / 0x1000 % 64), put(0x80 + c / 64 % 64), put(0x80 + c % 64);
        else if (c >= 0x800)
            put(0xE0 + c / 0x1000), put(0x80 + c / 64 % 64), put(0x80 + c % 64);
        else if (c >= 0x80)
            put(0xC0 + c / 64), put(0x80 + c % 64);
        else
            put(c);
    }
    return out;
}

inline String textOf(const std::string& bytes) {
    String out;
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        char32_t c = length == 1 ? lead : lead & (0x7Fu >> length);
        for (std::size_t k = 1; k < length; ++k)
            c = c * 64 + (static_cast<unsigned char>(bytes[i + k]) & 0x3Fu);
        if (c >= 0x10000) {
            out.push_back(static_cast<char16_t>(0xD800 + (c - 0x10000) / 0x400));
            out.push_back(static_cast<char16_t>(0xDC00 + (c - 0x10000) % 0x400));
        } else {
            out.push_back(static_cast<char16_t>(c));
        }
        i += length;
    }
    return out;
}

inline String fullDomain(StringView text) {
    const std::size_t scheme = text.find(u"://");
    const std::size_t start = scheme == StringView::npos ? 0 : scheme + 3;
    std::size_t end = start;
    while (end < text.size() && text[end] != u':' && text[end] != u'/' && text[end] != u'?')
        ++end;
    return platform::lowercaseString(text.substr(start, end - start));
}

// The linear pass over the table: the length of each entry, then its bytes.
inline std::size_t registrableStart(const std::string& host) {
    const std::size_t n = host.size();
    const auto behindDot = [&host](std::size_t from) { // the nearest "." at or before `from`
        const std::size_t dot = host.rfind('.', from);
        return dot == std::string::npos ? 0 : dot + 1;
    };
    if (n >= 11 && host.compare(n - 3, 3, ".us") == 0 && host.compare(n - 10, 4, ".k12") == 0)
        return behindDot(n - 11);
    for (const std::string_view entry : brimle::TLDs) {
        if (entry.size() == n || entry.size() > n || host.compare(n - entry.size(), entry.size(), entry) != 0)
            continue;
        return behindDot(n - entry.size() - 1);
    }
    if (n < 2)
        return 0;
    const std::size_t dot = host.rfind('.', n - 2);
    return dot == std::string::npos || dot == 0 ? 0 : behindDot(dot - 1);
}

inline String secondLevelDomain(StringView text) {
    if (text.empty())
        return String();
    String host = fullDomain(text);
    if (host.find_first_not_of(u".0123456789") == String::npos)
        return host;
    const std::string bytes = bytesOf(host);
    return textOf(bytes.substr(registrableStart(bytes)));
}

inline std::size_t numberOfLines(StringView text, std::size_t limit) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size() && count < limit; ++count) {
        while (i < text.size() && StringView(u"\n\r\u0085\u2028\u2029").find(text[i]) == StringView::npos)
            ++i;
        if (i + 1 < text.size() && text[i] == u'\r' && text[i + 1] == u'\n')
            ++i;
        ++i;
    }
    return count;
}

} // namespace reference
