#include "AppKit/NSApplication.h"

#include "Script.h"

namespace platform {

NSApplication& NSApplication::sharedApplication() {
    static NSApplication application;
    return application;
}

// Written down, and the process goes on: what the caller still does afterwards shows in the calls.
void NSApplication::terminate(const void* sender) {
    scripted_platform::call("NSApplication terminate", scripted_platform::nameOf(sender));
}

} // namespace platform
