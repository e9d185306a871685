#include "NSStringSearch.h"

#include "StringSearchKeys.h"

#include <algorithm>

namespace platform {
namespace {

// Reports every occurrence, overlapping ones included, until `report(position)` says false. Knuth, Morris and Pratt:
// each unit of the text is looked at once and compared at most twice.
template <class Report>
void forEachOccurrence(StringView text, StringView wanted, Report report) {
    if (wanted.empty() || wanted.size() > text.size())
        return;
    std::vector<std::size_t> border(wanted.size(), 0); // longest proper border of each prefix
    for (std::size_t i = 1, length = 0; i < wanted.size(); ++i) {
        while (length > 0 && wanted[i] != wanted[length])
            length = border[length - 1];
        if (wanted[i] == wanted[length])
            ++length;
        border[i] = length;
    }
    for (std::size_t i = 0, matched = 0; i < text.size(); ++i) {
        while (matched > 0 && text[i] != wanted[matched])
            matched = border[matched - 1];
        if (matched == 0) {
            i = text.find(wanted[0], i);
            if (i == StringView::npos)
                return;
        }
        if (++matched == wanted.size()) {
            if (!report(i + 1 - matched))
                return;
            matched = border[matched - 1];
        }
    }
}

template <class Report>
void forEachMatch(StringView text, StringView wanted, NSStringCompareOptions options, Report report) {
    if (comparesUnits(text, wanted, options)) {
        forEachOccurrence(text, wanted, [&](std::size_t position) { return report(NSRange{position, wanted.size()}); });
        return;
    }
    const SearchKeys textKeys = makeSearchKeys(text, options);
    const SearchKeys wantedKeys = makeSearchKeys(wanted, options);
    forEachOccurrence(textKeys.keys, wantedKeys.keys, [&](std::size_t position) {
        const std::size_t begin = textKeys.sources[position];
        const std::size_t end = textKeys.sources[position + wantedKeys.keys.size()];
        if (begin == SearchKeys::inside || end == SearchKeys::inside)
            return true;
        return report(NSRange{begin, end - begin});
    });
}

} // namespace

std::optional<NSRange> rangeOfString(StringView text, StringView wanted, NSStringCompareOptions options) {
    const bool backwards = (options & NSBackwardsSearch) != 0;
    const bool anchored = (options & NSAnchoredSearch) != 0;
    std::optional<NSRange> found;
    forEachMatch(text, wanted, options, [&](NSRange match) {
        const bool isAtAnchor = backwards ? match.location + match.length == text.size() : match.location == 0;
        if (!anchored || isAtAnchor)
            found = match;
        return backwards || (!anchored && !found);
    });
    return found;
}

std::size_t replaceOccurrencesOfString(String& text, StringView target, StringView replacement,
                                       NSStringCompareOptions options) {
    String out;
    std::size_t copied = 0;
    std::size_t count = 0;
    const StringView before = text;
    forEachMatch(before, target, options, [&](NSRange match) {
        if (match.location >= copied) {
            out.append(before.substr(copied, match.location - copied)).append(replacement);
            copied = match.location + match.length;
            ++count;
        }
        return true;
    });
    if (count > 0) {
        out.append(before.substr(copied));
        text = std::move(out);
    }
    return count;
}

} // namespace platform
