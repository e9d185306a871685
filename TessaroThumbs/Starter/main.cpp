// The starter: the process that the main application runs. It links neither the toolkit nor the engine.
//
// It keeps the caller's standard output to itself, lets a custodian process run the private display and the engine
// half, passes on what the engine half writes (a record only when it is whole), and leaves with status 0 whatever
// happened. See docs/architecture.md.
#include "TessaroThumbs/Starter/Custodian.h"
#include "TessaroThumbs/Starter/RecordRelay.h"
#include "brimle/PLCrashSignalHandler.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

void hintAtUsage() {
    if (isatty(STDERR_FILENO) != 0)
        std::fputs("usage: TessaroThumbs -url <address> [-uuid <identifier>]\n"
                   "Writes one thumbnail record to standard output; tessaro-record shows what is in it.\n",
                   stderr);
}

// Descriptors 0 to 2 are taken even when the caller closed them, so that none of ours is mistaken for one of them.
void occupyStandardDescriptors() {
    int descriptor = -1;
    do
        descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

} // namespace

int main(int argc, char* argv[]) {
    (void)brimle::PLCrashSignalHandler::enableCrashReporterAndReturnError(nullptr);
    occupyStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // a reader that has gone away must not change the exit status
    if (argc < 2)
        hintAtUsage();
    if (auto custodian = tessaro::Custodian::start(argc, argv)) {
        tessaro::relayRecord(custodian->recordStream(), STDOUT_FILENO, custodian->processDescriptor());
        close(STDOUT_FILENO); // the reader need not wait for the cleaning up
        custodian->end();
    }
    return EXIT_SUCCESS;
}
