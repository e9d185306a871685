// Web addresses as people type and store them, turned into URLs. Touches no network; any thread, except that the one
// line it may log goes through DRLogger (main thread).
#pragma once

#include "Foundation/NSURL.h"

namespace brimle {

using platform::NSURL;
using platform::StringView;

// How the platform builds a URL from scheme, host and path.
using URLFromParts = std::optional<NSURL> (*)(StringView scheme, StringView host, StringView path);

// The URL that an incomplete or careless address most likely means: a missing scheme is supplied; where the text is not
// a URL as it stands, it is rebuilt from scheme, host and path (escaped; port and user information do not survive), and
// failing that its part before "?" is tried. Absent when the text is absent or empty or none of this gives a URL.
// A platform exception while rebuilding is logged, verbose or not, and counts as a failed rebuilding.
[[nodiscard]] std::optional<NSURL> br_URLWithString(std::optional<StringView> text,
                                                    URLFromParts fromParts = NSURL::initWithScheme_host_path);

} // namespace brimle
