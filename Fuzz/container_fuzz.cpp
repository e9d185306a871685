// Encrypted data of any bytes under each family of passwords: refused, or fewer bytes than went in.
#include "brimle/BRCrypto.h"
#include "brimle/DRLogger.h"

#include <cstdlib>
#include <syslog.h>

using namespace brimle;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

// Refusals are logged, thousands a second here: to a file that keeps nothing, and past the system log.
[[maybe_unused]] const bool logIsQuiet = [] {
    setlogmask(LOG_MASK(LOG_EMERG));
    DRLogger::setFileName(std::make_shared<const String>(u"/dev/null"));
    return true;
}();

void check(DataView in, const std::optional<Data>& out) {
    require(!out || (in.empty() ? out->empty() : out->size() < in.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const DataView bytes(data, size);
    const Data password{'p', 'a', 's', 's', 'w', 'o', 'r', 'd'};
    for (const std::int32_t keySize : {16, 32}) {
        check(bytes, br_AESDecryptWithBinaryPassword_keySize(bytes, password, keySize));
        check(bytes, br_AESDecryptWithPassword_keySize_PBKDF2Iterations(bytes, u"password", keySize, 2));
        // The input as a plaintext comes back, and as a password opens what it closed.
        const auto closed = br_AESEncryptWithBinaryPassword_keySize_useSalt(bytes, bytes, keySize, true);
        require(closed.has_value());
        require(bytes.empty() ||
                br_AESDecryptWithBinaryPassword_keySize(*closed, bytes, keySize) == Data(bytes.begin(), bytes.end()));
    }
    return 0;
}
