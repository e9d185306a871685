// Processors without SHA instructions that are made use of here.
#include "Sha1.h"

namespace platform {

const Sha1Functions* acceleratedSha1() {
    return nullptr;
}

} // namespace platform
