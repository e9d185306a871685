// A borderless top-level window. Main thread only.
//
// On a display of the process's own (see Display.h) nobody can see a window, so there it is kept mapped all the time: a
// page in it is visible to itself and paints. On a user's display it appears only when it is ordered to.
#pragma once

#include "Foundation/NSGeometry.h"

#include <memory>

namespace platform {

class NSView;

enum NSBackingStoreType : unsigned {
    NSBackingStoreRetained = 0,
    NSBackingStoreNonretained = 1,
    NSBackingStoreBuffered = 2
};
inline constexpr unsigned NSBorderlessWindowMask = 0;

class NSWindow {
public:
    NSWindow(NSRect contentRect, unsigned styleMask, NSBackingStoreType backing, bool defer);
    virtual ~NSWindow();
    NSWindow(const NSWindow&) = delete;
    NSWindow& operator=(const NSWindow&) = delete;

    // The lower left corner in screen coordinates: points, y upwards, (0, 0) at the screen's lower left. Every placing,
    // also the platform's own when the window is ordered, comes through here.
    virtual void setFrameOrigin(NSPoint origin);
    void setContentSize(NSSize size);
    void setReleasedWhenClosed(bool flag);
    // 0 is fully transparent, 1 opaque.
    void setAlphaValue(double alpha);
    // Adds a view to the content view. The window does not own it.
    void addSubview(NSView& view);
    // Shows the window behind all others. `sender` is an identity only.
    void orderBack(const void* sender);

private:
    struct Native;
    std::unique_ptr<Native> native_;
    NSRect frame_;
};

} // namespace platform
