#include "AppKit/NSWindow.h"

#include "AppKit/NSView.h"
#include "Script.h"

namespace platform {

using scripted_platform::call;
using scripted_platform::text;

struct NSWindow::Native {};

NSWindow::NSWindow(NSRect contentRect, unsigned styleMask, NSBackingStoreType backing, bool defer)
    : frame_(contentRect) {
    call("NSWindow initWithContentRect", text(contentRect) + " styleMask " + std::to_string(styleMask) + " backing " +
                                             std::to_string(backing) + " defer " + text(defer));
}

NSWindow::~NSWindow() {
    call("NSWindow release");
}

void NSWindow::setFrameOrigin(NSPoint origin) {
    call("NSWindow setFrameOrigin", text(origin));
}

void NSWindow::setContentSize(NSSize size) {
    call("NSWindow setContentSize", text(size));
}

void NSWindow::setReleasedWhenClosed(bool flag) {
    call("NSWindow setReleasedWhenClosed", text(flag));
}

void NSWindow::setAlphaValue(double alpha) {
    call("NSWindow setAlphaValue", text(alpha));
}

// The platform places a window by itself, too.
void NSWindow::addSubview(NSView& view) {
    call("NSWindow addSubview", scripted_platform::nameOf(&view));
    setFrameOrigin(frame_.origin);
}

void NSWindow::orderBack(const void* sender) {
    call("NSWindow orderBack", scripted_platform::nameOf(sender));
    setFrameOrigin(frame_.origin);
}

} // namespace platform
