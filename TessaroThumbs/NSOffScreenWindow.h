// A window that stays far outside every display unless the developer wants to watch it.
#pragma once

#include "AppKit/NSWindow.h"

namespace tessaro {

class NSOffScreenWindow : public platform::NSWindow {
public:
    using NSWindow::NSWindow;

    // Parks the window at (-8000, 8000) whatever is asked for; with `DevMode` set the request is passed on unchanged.
    // The flag is read at every call.
    void setFrameOrigin(platform::NSPoint origin) override;
};

} // namespace tessaro
