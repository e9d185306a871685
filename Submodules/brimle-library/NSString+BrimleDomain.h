// What a web address says about whose site it is: host and port, registrable domain, a title for a saved login. Any
// text is accepted. Pure; any thread.
#pragma once

#include "Foundation/NSString.h"

namespace brimle {

using platform::String;
using platform::StringView;

// "<host>:<port>" of the address as a URL; a part that it does not have, and both parts of a text that is no URL, are
// "(null)". Nothing is lower-cased and no port is guessed.
[[nodiscard]] String br_stringByExtractingHostAndPort(StringView text);

// Whether the text is made of the digits 0 to 9 and "." alone, in any order: "1..2" and the empty text too.
[[nodiscard]] bool br_isIPAddress(StringView text);

// The part of the address's host that somebody registered: the label before a public suffix, with that suffix. School
// districts of the United States keep what stands before ".k12.<state>.us"; where no suffix of TLDs matches, the last
// two labels are taken. A host of digits and dots comes back whole.
[[nodiscard]] String br_stringByExtracting2ndTLD(StringView text);

// The registrable domain up to its first ".", each word capitalised: "https://www.my-bank.com/" gives "My-Bank".
[[nodiscard]] String br_urlAsLoginTitle(StringView text);

} // namespace brimle
