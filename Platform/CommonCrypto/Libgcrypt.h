// The crypto library behind this folder. Private to it.
#pragma once

namespace platform {

// Prepares libgcrypt once in the process, unless the application or another library already did. Any thread.
void prepareLibgcrypt();

} // namespace platform
