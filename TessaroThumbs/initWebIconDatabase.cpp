#include "TessaroThumbs/initWebIconDatabase.h"

#include "Foundation/NSException.h"
#include "Foundation/NSObjCRuntime.h"

namespace tessaro {

void initWebIconDatabase() {
    try {
        if (const platform::ClassByName* performSelector = platform::NSClassFromString(u"WebIconDatabase"))
            (*performSelector)(u"sharedIconDatabase");
    } catch (const platform::NSException&) { // NOLINT(bugprone-empty-catch): a run without site icons is still a run
    }
}

} // namespace tessaro
