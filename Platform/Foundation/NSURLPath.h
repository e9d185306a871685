// Cutting the path of a URL. Pure; any thread.
#pragma once

#include "NSURL.h"

namespace platform {

// The URL without its last path component, ending in "/": "file:///a/b.txt?q" gives "file:///a/", and so does
// "file:///a/b/". Components end at the slashes of the URL: an escaped slash belongs to a name. Query and fragment go
// with the component. A URL that has no component to lose is returned as it is.
[[nodiscard]] NSURL URLByDeletingLastPathComponent(const NSURL& url);

} // namespace platform
