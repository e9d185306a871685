// The display that windows of this process open on. Main thread only.
#pragma once

namespace platform {

// Announces a display server that a parent process is starting for this process alone. `descriptor` is the read end of
// a pipe on which the server prints its number, a line feed behind it, once it accepts connections; `authority` holds
// the file with the secret that it asks for. Both must be close-on-exec and are closed here. Without this call, the
// user's own display is used.
void usePrivateDisplay(int descriptor, int authority);

[[nodiscard]] bool displayIsPrivate();

// Connects the toolkit to the display, waiting for a private one to come up. At first call only; false when there is
// none to connect to, which is reported on standard error.
[[nodiscard]] bool connectToDisplay();

} // namespace platform
