#include "NSError.h"

#include "NSFormat.h"

#include <cstring>

namespace platform {

String NSError::localizedDescription() const {
    if (!localizedDescription_.empty())
        return localizedDescription_;
    if (domain_ == NSPOSIXErrorDomain)
        return stringWithUTF8OrLatin1(strerror(static_cast<int>(code_)));
    return u"Unknown error";
}

String NSError::description() const {
    return stringWithFormat("Error Domain=%@ Code=%ld \"%@\"", domain_, code_, localizedDescription());
}

} // namespace platform
