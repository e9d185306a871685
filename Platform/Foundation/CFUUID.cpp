#include "CFUUID.h"

#include <algorithm>
#include <uuid/uuid.h>

namespace platform {

CFUUID CFUUIDCreate() {
    uuid_t random;
    uuid_generate_random(random);
    CFUUID made;
    std::copy(std::begin(random), std::end(random), made.bytes.begin());
    return made;
}

String CFUUIDCreateString(const CFUUID& uuid) {
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_upper(uuid.bytes.data(), text.data()); // the plain uuid_unparse gives lower case
    return {text.begin(), text.end() - 1};
}

} // namespace platform
