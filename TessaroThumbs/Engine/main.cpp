// The engine half: everything that links the web engine. The starter runs it with the caller's arguments.
#include "AppKit/Display.h"
#include "AppKit/NSApplication.h"
#include "Foundation/StandardOutput.h"
#include "TessaroThumbs/Engine/EngineContract.h"
#include "TessaroThumbs/NSURLRequest+TS.h"
#include "TessaroThumbs/ThumbnailDownloaderAppDelegate.h"

#include <cstdlib>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace {

// True when the descriptor is open. The engine's own processes must not inherit it: one of them that outlives this
// process would hold the reader's stream open.
bool takeDescriptor(int descriptor) {
    return fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0;
}

// Exit handlers run last in, first out: this one, registered before anything else of ours, runs when all of ours have
// run, and spares the process the taking apart of the engine's libraries, which takes longer than a page and has been
// seen to hang when a signal handler called exit.
void leaveAtOnce() {
    _exit(EXIT_SUCCESS);
}

// Pictures of megabytes come and go. Given back to the system each time, their pages would have to be cleared anew.
void keepFreedMemory() {
    constexpr int manyMegabytes = 256 << 20; // bytes
    mallopt(M_MMAP_THRESHOLD, manyMegabytes);
    mallopt(M_TRIM_THRESHOLD, manyMegabytes);
}

} // namespace

int main(int argc, char* argv[]) {
    std::atexit(leaveAtOnce);
    keepFreedMemory();
    if (takeDescriptor(tessaro::recordDescriptor))
        if (std::FILE* record = fdopen(tessaro::recordDescriptor, "w"))
            platform::replaceStandardOutput(record);
    if (takeDescriptor(tessaro::displayDescriptor) && takeDescriptor(tessaro::authorityDescriptor))
        platform::usePrivateDisplay(tessaro::displayDescriptor, tessaro::authorityDescriptor);
    tessaro::installRequestAnswers();
    platform::registerWebIconDatabaseClass();
    // Lives as long as the process: terminate ends it while the delegate is still at work.
    static tessaro::ThumbnailDownloaderAppDelegate delegate;
    platform::NSApplication::sharedApplication().setDelegate(&delegate);
    return platform::NSApplicationMain(argc, argv);
}
