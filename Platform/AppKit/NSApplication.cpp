#include "AppKit/NSApplication.h"

#include "Foundation/NSUserDefaults.h"

#include <cstdlib>
#include <glib.h>

namespace platform {

NSApplication& NSApplication::sharedApplication() {
    static NSApplication application;
    return application;
}

void NSApplication::terminate(const void*) {
    NSNotificationCenter::defaultCenter().postNotificationName(NSApplicationWillTerminateNotification);
    std::exit(EXIT_SUCCESS);
}

void NSApplication::run() {
    if (delegate_)
        delegate_->applicationDidFinishLaunching({u"NSApplicationDidFinishLaunchingNotification"});
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
}

int NSApplicationMain(int argc, char* argv[]) {
    NSUserDefaults::standardUserDefaults().setArguments({argv, static_cast<std::size_t>(argc)});
    NSApplication::sharedApplication().run();
    return EXIT_SUCCESS;
}

} // namespace platform
