// The application object: one per process, it owns the event loop. Main thread only.
#pragma once

#include "Foundation/NSNotificationCenter.h"

namespace platform {

class NSApplicationDelegate {
public:
    virtual ~NSApplicationDelegate() = default;
    virtual void applicationDidFinishLaunching(const NSNotification& notification) = 0;
};

class NSApplication {
public:
    [[nodiscard]] static NSApplication& sharedApplication();

    // Not owned; outlives the event loop.
    void setDelegate(NSApplicationDelegate* delegate) { delegate_ = delegate; }

    // Ends the process in the normal way: announces NSApplicationWillTerminateNotification, then exit(0), so that the
    // exit handlers run. `sender` is an identity only.
    void terminate(const void* sender);

    // Launches the delegate and runs the event loop until terminate.
    void run();

private:
    NSApplicationDelegate* delegate_ = nullptr;
};

// The framework's main routine: fills the argument domain of the user defaults from the arguments, then runs the shared
// application. Returns the process's exit status.
int NSApplicationMain(int argc, char* argv[]);

} // namespace platform
