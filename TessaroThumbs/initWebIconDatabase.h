// Switches on the engine's site icons.
#pragma once

namespace tessaro {

// Must run before the web view is made. Does nothing on a platform without the class "WebIconDatabase"; the record then
// has no small image. The platform's own exceptions are swallowed, any other propagates.
void initWebIconDatabase();

} // namespace tessaro
