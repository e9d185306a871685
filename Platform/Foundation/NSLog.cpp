#include "NSLog.h"

#include <syslog.h>

namespace platform {

void NSLogMessage(StringView message) {
    [[maybe_unused]] static const bool opened = [] {
        openlog(nullptr, LOG_PERROR | LOG_PID, LOG_USER);
        return true;
    }();
    syslog(LOG_NOTICE, "%s", lossyUTF8String(message).c_str());
}

} // namespace platform
