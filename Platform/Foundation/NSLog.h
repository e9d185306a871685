// The system log: one line in syslog under the program's name and process number, echoed to standard error.
#pragma once

#include "NSFormat.h"

namespace platform {

// Writes a message that is ready as it stands ("%" in it means itself). Never fails.
void NSLogMessage(StringView message);

template <class... Arguments>
void NSLog(CheckedFormat<std::type_identity_t<Arguments>...> format, const Arguments&... arguments) {
    NSLogMessage(stringWithFormat<Arguments...>(format, arguments...));
}

} // namespace platform
