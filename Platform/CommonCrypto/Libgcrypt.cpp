#include "Libgcrypt.h"

#include <gcrypt.h>

namespace platform {
namespace {

bool prepare() {
    if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) != 0)
        return true;
    // MD5 and RC4 are part of what is offered here, also on a machine whose policy bars them from new protocols:
    // they identify and open what was written before. No effect once another user of the library has started it.
    gcry_control(GCRYCTL_NO_FIPS_MODE);
    // No locked memory pool: it would take 32 KiB of a scarce limit at once, and keys are wiped when they are released.
    gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
    if (!gcry_check_version(GCRYPT_VERSION))
        return false;
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    return true;
}

} // namespace

void prepareLibgcrypt() {
    [[maybe_unused]] static const bool prepared = prepare();
}

} // namespace platform
