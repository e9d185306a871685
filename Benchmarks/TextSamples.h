// Texts as they come in practice, the same ones at every run.
#pragma once

#include "Tests/Support/RandomText.h"

#include <string>

namespace text_samples {

using platform::String;
using platform::StringView;

constexpr std::size_t oneMebi = 1 << 20;

// A page's source: markup every few words.
inline String ordinaryHTML(std::size_t length) {
    testing_support::RandomText random{
        u"<p>",       u"</p>\n",     u"<div class=\"row\">", u"</div>\n",    u"<a href=\"/p?a=1&b=2\">",
        u"</a>",      u" the ",      u"password ",           u"of an ",      u"account ",
        u"is stored", u" and never", u" shown to anybody",   u". ",          u", ",
        u"It's ",     u"ordinary ",  u"prose, mostly ",      u"longer than", u" the markup ",
        u"    ",      u"line\r\n",   u"caf\u00E9 ",          u"\u2013 ",     u"without "};
    String text;
    while (text.size() < length)
        text += random.next(2);
    return text.substr(0, length);
}

// Text in which every other word is a reference, named or numeric.
inline String entityRichText(std::size_t length) {
    testing_support::RandomText random{u"&nbsp;", u"&eacute;", u"&#233;", u"&#xE9;", u"&copy;", u"&#8226;",
                                       u"&uuml;", u"&amp;",    u"Caf",    u" und ",  u"word ",  u"text ",
                                       u"more ",  u"a ",       u"&#38;",  u"; "};
    String text;
    while (text.size() < length)
        text += random.next(2);
    return text.substr(0, length);
}

// A list of names in several European languages.
inline String accentedText(std::size_t length) {
    testing_support::RandomText random{u"Ñandú ", u"Müller ",  u"Zoë ", u"Ångström ", u"François ",
                                       u"Smith ", u"Dvořák ",  u"Ÿ ",   u"naïve ",    u"and ",
                                       u"the ",   u"Øystein ", u"São "};
    String text;
    while (text.size() < length)
        text += random.next(2);
    return text.substr(0, length);
}

// The scripts that a password store of the whole world holds.
inline String internationalText(std::size_t length) {
    testing_support::RandomText random{u"hello ",     u"привет ", u"你好",       u"γειά ",
                                       u"こんにちは", u"café ",   u"\U0001F600", u"مرحبا "};
    String text;
    while (text.size() < length)
        text += random.next(2);
    if (const char16_t last = text[length - 1]; (last & 0xFC00) == 0xD800)
        text[length - 1] = u' ';
    return text.substr(0, length);
}

// Addresses as people save them: most of them .com, a good part below a suffix of two labels.
inline std::vector<String> addresses(std::size_t count) {
    testing_support::RandomText words{u"www",     u"login",  u"my-bank", u"shop", u"accounts", u"mail",
                                      u"example", u"secure", u"portal",  u"news", u"id",       u"store"};
    constexpr StringView suffixes[] = {u".com", u".com",   u".com",   u".com",    u".org",   u".net",    u".de",
                                       u".fr",  u".co.uk", u".co.uk", u".com.au", u".co.jp", u".com.br", u".k12.ca.us"};
    std::vector<String> out;
    while (out.size() < count) {
        String text = words.below(8) == 0 ? u"" : words.below(2) == 0 ? u"https://" : u"http://";
        for (std::size_t labels = 1 + words.below(3); labels > 0; --labels) {
            String label;
            while (label.empty())
                label = words.next(1);
            text += label + (labels > 1 ? u"." : u"");
        }
        text += suffixes[words.below(std::size(suffixes))];
        text += words.below(3) == 0 ? u":8443/" : u"/";
        out.push_back(text + words.next(2) + u"?user=" + words.next(1));
    }
    return out;
}

} // namespace text_samples
