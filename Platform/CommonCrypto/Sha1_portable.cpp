// Processors for which there is no accelerated compression here.
#include "Sha1.h"

namespace platform {

Sha1Compression acceleratedSha1Compression() {
    return nullptr;
}

} // namespace platform
