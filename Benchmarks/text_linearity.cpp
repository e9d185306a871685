// How the time of each text operation grows with its input, on the texts that should hurt it most: nanoseconds a unit
// from one to sixteen Mi units, and the largest step from one length to its double (2.0 is linear).
#include "brimle/NSMutableString+Brimle.h"
#include "brimle/NSString+Brimle.h"
#include "brimle/NSString+BrimleData.h"
#include "brimle/NSString+BrimleDomain.h"
#include "brimle/NSString+BrimleHTML.h"
#include "brimle/NSString+BrimlePlain.h"
#include "brimle/NSString+BrimleURL.h"
#include "brimle/NSURL+Brimle.h"

#include "Foundation/NSStringCase.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>
#include <malloc.h>
#include <string>

namespace {

using namespace brimle;
using platform::NSStringCompareOptions;

constexpr std::size_t oneMebi = 1 << 20;

String repeated(StringView piece, std::size_t length) {
    String text;
    text.reserve(length + piece.size());
    while (text.size() < length)
        text += piece;
    text.resize(length);
    return text;
}

// A needle that fails only at its last unit, everywhere: half as long as the text.
bool findNearly(StringView text, NSStringCompareOptions options) {
    const String needle = String(text.substr(0, text.size() / 2)) + u"!";
    return br_containsString_options(text, needle, options);
}

struct Case {
    const char* name;
    std::function<String(std::size_t)> make;
    std::function<std::size_t(StringView)> run; // something of the result, so that there is one
};

Case text(const char* name, StringView piece, String (*operation)(StringView)) {
    return {name, [piece](std::size_t n) { return repeated(piece, n); },
            [operation](StringView input) { return operation(input).size(); }};
}

std::vector<Case> cases() {
    std::vector<Case> all = {
        text("entities: \"&#\" without \";\"", u"&#", br_stringByDecodingHTMLEntities),
        {"entities: \";\" before one \"&#\"", [](std::size_t n) { return repeated(u";", n - 6) + u"&#65;&"; },
         [](StringView t) { return br_stringByDecodingHTMLEntities(t).size(); }},
        {"entities: chained \"&#38;#38;...\"", [](std::size_t n) { return u"&" + repeated(u"#38;", n); },
         [](StringView t) { return br_stringByDecodingHTMLEntities(t).size(); }},
        text("entities: \"&#38;&#35;\"", u"&#38;&#35;", br_stringByDecodingHTMLEntities),
        {"entities: one number of n digits", [](std::size_t n) { return u"&#" + String(n, u'9') + u";"; },
         [](StringView t) { return br_stringByDecodingHTMLEntities(t).size(); }},
        text("entities: \"&\" alone", u"&", br_stringByDecodingHTMLEntities),
        text("entities: names without \";\"", u"&nbsp", br_stringByDecodingHTMLEntities),
        text("entities: named", u"&eacute;", br_stringByDecodingHTMLEntities),
        text("printable: \"\\n\\r\"", u"\n\r", br_asPrintableHTML),
        text("printable: \"&\"", u"&", br_asPrintableHTML),
        text("javascript: backslashes", u"\\", br_javascript),
        text("htmlString: beyond ASCII", u"\uFFFF", br_htmlString),
        text("legal path: shell characters", u"'\"", br_stringAsLegalFilePath),
        text("legal path: backslash, space", u"\\ ", br_stringAsLegalFilePath),
        text("accents", u"\u00C0\u00FF", br_stringByStrippingAccentMarks),
        text("predicate", u"\r\n", br_validPredicateFormatString),
        text("domain: dots", u"a.", br_stringByExtracting2ndTLD),
        text("domain: digits", u"1", br_stringByExtracting2ndTLD),
        text("domain: sigmas and marks", u"\u03A3\u0301\u0301", br_stringByExtracting2ndTLD),
        text("title: one-letter words", u"a-", br_urlAsLoginTitle),
        text("title: one word", u"\u03A3", br_urlAsLoginTitle),
        text("host and port", u"http://a@", br_stringByExtractingHostAndPort),
        text("escaped component", u"\uFFFF", br_stringAsValidURLString),
        {"escaped address", [](std::size_t n) { return repeated(u"\uFFFF", n); },
         [](StringView t) { return br_stringAsHttpURLString(t)->size(); }},
        text("valid URL string: \":/\"", u":/", br_validURLString),
        // The host nearly stands at every place of the scheme.
        {"URL: host in its own scheme",
         [](std::size_t n) { return String(n / 2, u'a') + u"://" + String(n / 2, u'a') + u"b/ "; },
         [](StringView t) { return br_URLWithString(t) ? 1u : 0u; }},
        {"lines: CR", [](std::size_t n) { return repeated(u"\r", n); }, br_numberOfLines},
        text("trim: white space", u" ", br_trim),
        {"find: literal", [](std::size_t n) { return String(n, u'a'); },
         [](StringView t) { return findNearly(t, platform::NSLiteralSearch) ? 1u : 0u; }},
        {"find: default, periodic", [](std::size_t n) { return repeated(u"abaabab", n); },
         [](StringView t) { return findNearly(t, 0) ? 1u : 0u; }},
        {"find: default, beyond ASCII", [](std::size_t n) { return String(n, u'\u00E9'); },
         [](StringView t) { return findNearly(t, 0) ? 1u : 0u; }},
        {"find: case-insensitive", [](std::size_t n) { return repeated(u"aA\u00DF", n); },
         [](StringView t) { return findNearly(t, platform::NSCaseInsensitiveSearch) ? 1u : 0u; }},
        {"find: one letter, n marks", [](std::size_t n) { return u"a" + repeated(u"\u0301\u0323", n); },
         [](StringView t) { return br_containsString(t, u"a\u0301") ? 1u : 0u; }},
        {"replace: every unit", [](std::size_t n) { return String(n, u'a'); },
         [](StringView t) {
             String work(t);
             return br_replaceOccurrencesOfString_withString(work, u"a", u"bc");
         }},
        {"replace: a text of its own length", [](std::size_t n) { return String(n, u'a'); },
         [](StringView t) {
             String work(t);
             return br_replaceOccurrencesOfString_withString(work, String(t.substr(0, t.size() / 2)) + u"b", u"c");
         }},
        {"bytes: UTF-8", [](std::size_t n) { return repeated(u"\u00E9a", n); },
         [](StringView t) { return br_asString(*br_asData(t))->size(); }},
        {"bytes: Latin 1 after n of UTF-8", [](std::size_t n) { return repeated(u"\u20AC", n); },
         [](StringView t) {
             Data bytes = *br_asData(t);
             bytes.push_back(0xFF);
             return br_asString(bytes)->size();
         }},
    };
    return all;
}

double seconds(const Case& measured, const String& input) {
    double best = 1e9;
    for (int i = 0; i < 7; ++i) {
        timespec begin{};
        timespec end{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
        volatile std::size_t result = measured.run(input);
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
        static_cast<void>(result);
        best = std::min(best, static_cast<double>(end.tv_sec - begin.tv_sec) +
                                  static_cast<double>(end.tv_nsec - begin.tv_nsec) * 1e-9);
    }
    return best;
}

} // namespace

int main() {
    // Memory once got is kept, so that what is measured is the work and not the kernel's clearing of new pages.
    mallopt(M_MMAP_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_TOP_PAD, 64 << 20);
    std::printf("nanoseconds a unit at ... Mi units\n%-36s %8s %8s %8s %8s %8s   %s\n", "", "1", "2", "4", "8", "16",
                "largest step");
    for (const Case& measured : cases()) {
        std::printf("%-36s", measured.name);
        double before = 0;
        double largest = 0;
        for (std::size_t length = oneMebi; length <= 16 * oneMebi; length *= 2) {
            const double time = seconds(measured, measured.make(length));
            std::printf(" %8.2f", time * 1e9 / static_cast<double>(length));
            largest = before > 0 ? std::max(largest, time / before) : largest;
            before = time;
        }
        std::printf("   %.2f\n", largest);
        std::fflush(stdout);
    }
}
