// Strings asked and strings made: small everyday operations. Pure except where said; any thread.
#pragma once

#include "Foundation/NSCharacterSet.h"
#include "Foundation/NSStringSearch.h"

namespace brimle {

using platform::NSCharacterSet;
using platform::NSRange;
using platform::String;
using platform::StringView;

// One character: a surrogate pair above 65535. No check: a surrogate comes back alone, a value beyond Unicode as the
// pair that its low bits make.
[[nodiscard]] String br_stringWithCharacter(std::uint32_t character);

// U+2026. The same object at every call.
[[nodiscard]] const String& br_horizontalEllipsisString();

// Absent or empty; white space is content.
[[nodiscard]] bool br_isEmpty(std::optional<StringView> text);

// The first UTF-16 unit, which may be half of a pair; " " for an empty text.
[[nodiscard]] String br_firstLetter(StringView text);

// Ten U+25CF and ten U+2022, whatever is hidden behind them.
[[nodiscard]] String br_asBullets(StringView text);
[[nodiscard]] String concealedString();

// The text with the range replaced; unchanged when the range passes its end. An absent replacement writes "(null)".
[[nodiscard]] String brlStringByReplacingCharactersInRange_withString(StringView text, NSRange range,
                                                                      std::optional<StringView> replacement);

// Whether the POSIX extended regular expression matches anywhere. Both texts end at their first U+0000. False also when
// either has no UTF-8 form or the pattern does not compile. Characters and classes beyond ASCII are those of the
// process's locale; the time a pattern takes is the C library's affair.
[[nodiscard]] bool br_matchesRegex(StringView text, StringView pattern);

// Without leading and trailing Unicode white space and line breaks.
[[nodiscard]] String br_trim(StringView text);

[[nodiscard]] bool br_containsCharacterInSet(StringView text, const NSCharacterSet& set);

// Whether the wanted text occurs; never an absent or empty one. Options as of rangeOfString: by default composed and
// decomposed characters are equal and case counts.
[[nodiscard]] bool br_containsString_options(StringView text, std::optional<StringView> wanted,
                                             platform::NSStringCompareOptions options);
[[nodiscard]] bool br_containsString(StringView text, std::optional<StringView> wanted);

// Lines end with LF, CR, CR LF, U+0085, U+2028 or U+2029; a break at the very end begins no further line.
[[nodiscard]] std::size_t br_numberOfLines(StringView text);
// At most `limit`; a negative limit is none.
[[nodiscard]] std::size_t br_numberOfLinesLimitedTo(StringView text, long limit);

// A fresh random UUID: 32 upper-case hexadecimal digits without hyphens.
[[nodiscard]] String br_uuid();

// "512 bytes", "3 KB" (rounded down), "1.5 MB", "2.0 GB" by powers of 1024. The formats are translated by the main
// bundle (Foundation/NSBundle.h).
[[nodiscard]] String br_humanReadableSizeStringForBytes(std::uint64_t bytes);

} // namespace brimle
