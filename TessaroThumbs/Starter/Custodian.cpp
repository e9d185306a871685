#include "TessaroThumbs/Starter/Custodian.h"

#include "Foundation/NSUserDefaults.h"
#include "TessaroThumbs/Engine/EngineContract.h"
#include "TessaroThumbs/Starter/EngineEnvironment.h"
#include "TessaroThumbs/Starter/PrivateDisplay.h"
#include "TessaroThumbs/Starter/Processes.h"
#include "TessaroThumbs/isPreferenceSet.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <iomanip>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessaro {
namespace {

struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;
    [[nodiscard]] bool open() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            return false;
        readEnd = ends[0];
        writeEnd = ends[1];
        return true;
    }
};

// A run that ends at launch needs no display, and a developer watches the page on his own.
bool needsPrivateDisplay(int argc, char* argv[]) {
    auto& defaults = platform::NSUserDefaults::standardUserDefaults();
    defaults.setArguments({argv, static_cast<std::size_t>(argc)});
    const auto url = defaults.volatileDomainForName(platform::NSArgumentDomain).stringForKey(u"url");
    return url && !url->empty() && !isPreferenceSet(u"DevMode");
}

std::string enginePath() {
    std::array<char, 4096> self{};
    const ssize_t length = readlink("/proc/self/exe", self.data(), self.size() - 1);
    const std::string program(self.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::string folder = program.substr(0, program.find_last_of('/') + 1);
    const std::string beside = folder + "TessaroThumbsEngine";
    return access(beside.c_str(), X_OK) == 0 ? beside : folder + TESSARO_ENGINE_FROM_STARTER;
}

// Also without the display that it wants, of which it then reads the end: the launch up to there has lines to log.
pid_t startEngine(int argc, char* argv[], int record, bool wantsDisplay, const PrivateDisplay* display,
                  const std::string& runtimeFolder) {
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    std::vector<InheritedDescriptor> descriptors = {
        {nowhere, STDIN_FILENO}, {nowhere, STDOUT_FILENO}, {record, recordDescriptor}};
    if (wantsDisplay) {
        descriptors.push_back({display ? display->numberDescriptor() : nowhere, displayDescriptor});
        descriptors.push_back({display ? display->authorityDescriptor() : nowhere, authorityDescriptor});
    }
    const std::string path = enginePath();
    const std::string folder = path.substr(0, path.find_last_of('/'));
    const pid_t engine = startProgram(path, std::vector<std::string>(argv, argv + argc),
                                      engineEnvironment(wantsDisplay, folder, runtimeFolder), descriptors, SIGKILL);
    close(nowhere);
    if (engine < 0)
        std::perror("TessaroThumbs: the engine could not be started");
    return engine;
}

// The engine half has closed its output. What is left for it to do is a line in its log and the leaving; nothing of
// this needs its own children or the display, so these go meanwhile.
void letEngineLeave(pid_t engine, const PrivateDisplay* display) {
    constexpr int patience = 250; // milliseconds
    if (display)
        kill(display->process(), SIGTERM);
    killChildren(engine);
    pollfd ended{static_cast<int>(syscall(SYS_pidfd_open, engine, 0)), POLLIN, 0};
    (void)poll(&ended, 1, patience);
    close(ended.fd);
}

// Returns when the starter has all of the output or the display has ended, after which the engine half leaves by itself
// (true), or when the starter or the engine half has ended or the display does not come up. Watches the memory of all
// of them meanwhile: the engine looks at its own between two tasks only, and a script that takes memory in a loop is
// one task without end.
bool awaitEnd(int lifeline, pid_t engine, PrivateDisplay* display) {
    constexpr std::size_t limit = std::size_t{1536} << 20; // far above what pages need, below what hurts a machine
    constexpr int interval = 250;                          // milliseconds
    using Clock = std::chrono::steady_clock;
    const Clock::time_point displayDue = Clock::now() + std::chrono::seconds(10); // it takes a twentieth of one
    std::array<pollfd, 4> watched{};
    watched[0] = {lifeline, POLLIN, 0};
    watched[1] = {static_cast<int>(syscall(SYS_pidfd_open, engine, 0)), POLLIN, 0};
    watched[2] = {display ? static_cast<int>(syscall(SYS_pidfd_open, display->process(), 0)) : -1, POLLIN, 0};
    for (;;) {
        watched[3] = {display ? display->serverDescriptor() : -1, POLLIN, 0};
        const int ready = poll(watched.data(), watched.size(), interval);
        if (ready == 0)
            killDescendantsBeyond(limit);
        if (display && display->serverDescriptor() >= 0 && Clock::now() > displayDue) {
            std::fputs("TessaroThumbs: the private display does not come up.\n", stderr);
            return false;
        }
        if (ready <= 0)
            continue;
        if ((watched[0].revents | watched[1].revents | watched[2].revents) != 0)
            // A word of the starter's; its end without one shows otherwise. Without its display the engine half leaves.
            return (watched[0].revents & POLLIN) != 0 || watched[2].revents != 0;
        display->passNumberOn();
    }
}

// The name of a folder for this run alone, in place of the user's: the engine's sandbox leaves notes in it. Drawn
// before the fork, so that whichever of the two is left can remove the folder, and made behind it, so that there is
// nothing to remove until two watch each other. Empty without randomness; then the user's folder serves.
std::string drawRuntimeFolder() {
    std::array<unsigned char, 12> random{};
    if (getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        return "";
    std::ostringstream name;
    name << "/tmp/TessaroThumbs-" << std::hex << std::setfill('0');
    for (const unsigned byte : random)
        name << std::setw(2) << byte;
    return name.str();
}

// In the folder a session bus that answers nobody. Where there is none, the engine's processes try again and again to
// start one, and copy themselves for it every time (12 ms before the sandbox stands); one that the environment names
// would make the engine start a proxy to it.
bool makeRuntimeFolder(const std::string& folder) {
    if (folder.empty() || mkdir(folder.c_str(), S_IRWXU) != 0)
        return false;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (folder + "/bus").copy(address.sun_path, sizeof address.sun_path - 1);
    const int bus = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    (void)bind(bus, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    close(bus); // its name stays, and refuses every connection
    return true;
}

void removeFolder(const std::string& folder) {
    std::error_code ignored;
    if (!folder.empty())
        std::filesystem::remove_all(folder, ignored);
}

[[noreturn]] void runCustodian(int argc, char* argv[], int record, int lifeline, bool wantsDisplay,
                               const std::string& runtimeFolder) {
    setsid(); // a terminal's signals are for the starter, whose end ends everything
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::optional<PrivateDisplay> display;
    if (wantsDisplay)
        display = PrivateDisplay::start();
    PrivateDisplay* const server = display ? &*display : nullptr;
    const bool hasFolder = makeRuntimeFolder(runtimeFolder);
    const pid_t engine = startEngine(argc, argv, record, wantsDisplay, server, hasFolder ? runtimeFolder : "");
    close(record);
    if (engine > 0) {
        if (awaitEnd(lifeline, engine, server))
            letEngineLeave(engine, server);
        killTree(engine);
    }
    if (display)
        display->end();
    endAllDescendants();
    removeFolder(runtimeFolder);
    _exit(EXIT_SUCCESS);
}

} // namespace

std::optional<Custodian> Custodian::start(int argc, char* argv[]) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    Pipe record;
    Pipe lifeline;
    const bool wantsDisplay = needsPrivateDisplay(argc, argv);
    std::string runtimeFolder = wantsDisplay ? drawRuntimeFolder() : "";
    const pid_t process = record.open() && lifeline.open() ? fork() : -1;
    if (process < 0) {
        std::perror("TessaroThumbs: the run could not be started");
        return std::nullopt;
    }
    if (process == 0) {
        close(record.readEnd);
        close(lifeline.writeEnd);
        close(STDOUT_FILENO); // the caller's; only the starter writes to it
        close(STDIN_FILENO);
        runCustodian(argc, argv, record.writeEnd, lifeline.readEnd, wantsDisplay, runtimeFolder);
    }
    close(record.writeEnd);
    close(lifeline.readEnd);
    const int processDescriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    return Custodian(process, processDescriptor, record.readEnd, lifeline.writeEnd, std::move(runtimeFolder));
}

void Custodian::end() {
    (void)!write(lifeline_, "!", 1);
    close(lifeline_);
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
    // Nothing is left to do unless the custodian was killed. Then the display server got its death signal and is about
    // to remove its socket.
    constexpr int patience = 300; // milliseconds
    awaitDescendants(patience);
    endAllDescendants();
    removeFolder(runtimeFolder_);
}

} // namespace tessaro
