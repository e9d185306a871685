// The delegate's first step, written down instead of taken: a second registration in one process is refused, and this
// process launches many a run.
#include "Tests/Support/ScriptedPlatform/Script.h"
#include "brimle/PLCrashSignalHandler.h"

namespace brimle {

// False: that the handler could not be installed is of no consequence to a run.
bool PLCrashSignalHandler::enableCrashReporterAndReturnError(platform::NSErrorPointer error) {
    scripted_platform::call("PLCrashSignalHandler enableCrashReporterAndReturnError", scripted_platform::nameOf(error));
    return false;
}

} // namespace brimle
