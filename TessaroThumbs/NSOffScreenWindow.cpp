#include "TessaroThumbs/NSOffScreenWindow.h"

#include "TessaroThumbs/isPreferenceSet.h"

namespace tessaro {

void NSOffScreenWindow::setFrameOrigin(platform::NSPoint origin) {
    constexpr platform::NSPoint outsideEveryDisplay{-8000, 8000};
    NSWindow::setFrameOrigin(isPreferenceSet(u"DevMode") ? origin : outsideEveryDisplay);
}

} // namespace tessaro
