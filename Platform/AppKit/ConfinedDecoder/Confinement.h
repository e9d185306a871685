// Giving up every right that decoding an image does not need.
#pragma once

namespace platform {

// Bounds memory and processor time of this process, lets it open nothing and makes it end with whoever started it.
// False when that fails.
[[nodiscard]] bool limitResources();

// From here on the kernel ends this process at any system call but those that use memory and what is already open: no
// files, no network, no programs, no signals to others. For good. False when the kernel does not offer it.
[[nodiscard]] bool giveUpSystemCalls();

} // namespace platform
