#include "TessaroThumbs/Starter/PrivateDisplay.h"

#include "TessaroThumbs/Starter/Processes.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessaro {
namespace {

constexpr const char* serverPath = "/usr/bin/Xvfb";
constexpr int numberTarget = 3;
constexpr int authorityTarget = 5;

void appendCounted(std::string& out, std::string_view text) {
    out.push_back(static_cast<char>(text.size() >> 8));
    out.push_back(static_cast<char>(text.size() & 0xFF));
    out.append(text);
}

// An authority file in memory, for any display of this machine: other users of it could otherwise connect and look.
// The format is Xau's: family, then address, number, name and data, each behind its 16-bit length, big-endian.
int makeAuthority() {
    std::array<char, 16> secret{};
    if (getrandom(secret.data(), secret.size(), 0) != static_cast<ssize_t>(secret.size()))
        return -1;
    std::string entry("\xFF\xFF", 2); // FamilyWild
    appendCounted(entry, "");
    appendCounted(entry, "");
    appendCounted(entry, "MIT-MAGIC-COOKIE-1");
    appendCounted(entry, {secret.data(), secret.size()});
    const int file = memfd_create("display-authority", MFD_CLOEXEC);
    if (file >= 0 && write(file, entry.data(), entry.size()) != static_cast<ssize_t>(entry.size())) {
        close(file);
        return -1;
    }
    return file;
}

// Whether the socket's server is gone. One that is about to listen refuses connections like one that is gone, so the
// system's list of bound sockets is asked as well: another server may have taken the number.
bool isAbandoned(const std::string& socketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof(address.sun_path))
        return false;
    socketPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool refused = client >= 0 &&
                         connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 &&
                         errno == ECONNREFUSED;
    close(client);
    std::ifstream bound("/proc/net/unix");
    for (std::string line; refused && std::getline(bound, line);)
        if (line.ends_with(" " + socketPath))
            return false;
    return refused;
}

std::string socketOf(const std::string& number) {
    return "/tmp/.X11-unix/X" + number;
}

// A number that no server has. The server would look for one itself, but only in its own network: where the folder of
// the sockets is shared with other ones (containers do so), it would take another server's place there. Drawn from
// many, so that two runs that begin together do not meet. Empty when the system gives no randomness.
std::string drawNumber() {
    constexpr unsigned first = 1000; // far from desktops
    constexpr unsigned count = 30000;
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        unsigned random = 0;
        if (getrandom(&random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
            break;
        std::string number = std::to_string(first + random % count);
        struct stat ignored {};
        if (lstat(socketOf(number).c_str(), &ignored) != 0 &&
            lstat(("/tmp/.X" + number + "-lock").c_str(), &ignored) != 0)
            return number;
    }
    return "";
}

} // namespace

std::optional<PrivateDisplay> PrivateDisplay::start() {
    if (access(serverPath, X_OK) != 0) {
        std::fprintf(stderr, "TessaroThumbs: there is no %s to run the page's display (Debian package xvfb).\n",
                     serverPath);
        return std::nullopt;
    }
    const int authority = makeAuthority();
    const std::string displayNumber = drawNumber();
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    std::array<int, 2> server{-1, -1};
    std::array<int, 2> number{-1, -1};
    // The engine's web process joins from its sandbox through the socket file: the abstract one is out of its reach.
    const std::vector<std::string> arguments = {
        "Xvfb",        ":" + displayNumber,
        "-displayfd",  std::to_string(numberTarget), // written to when the server is ready
        "-screen",     "0",
        "1440x900x24", "-dpi",
        "96",          "-noreset",
        "-nolisten",   "tcp",
        "-extension",  "GLX",
        "-auth",       "/proc/self/fd/" + std::to_string(authorityTarget)};
    pid_t process = -1;
    if (!displayNumber.empty() && authority >= 0 && nowhere >= 0 && pipe2(server.data(), O_CLOEXEC) == 0 &&
        pipe2(number.data(), O_CLOEXEC) == 0)
        process = startProgram(serverPath, arguments, {"PATH=/usr/bin:/bin"},
                               {{nowhere, STDIN_FILENO},
                                {nowhere, STDOUT_FILENO},
                                {nowhere, STDERR_FILENO}, // it reports keyboard symbols that nobody has
                                {server[1], numberTarget},
                                {authority, authorityTarget}},
                               SIGTERM);
    if (process < 0) {
        std::perror("TessaroThumbs: the private display could not be started");
        return std::nullopt;
    }
    close(nowhere);
    close(server[1]);
    return PrivateDisplay(process, server[0], number[0], number[1], authority, socketOf(displayNumber));
}

void PrivateDisplay::passNumberOn() {
    std::array<char, 16> text{};
    const ssize_t count = read(server_, text.data(), text.size());
    if (count > 0) {
        (void)!write(numberWriter_, text.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
        close(server_);
        close(numberWriter_); // a number that did not come does not come any more
        server_ = numberWriter_ = -1;
    }
}

// A server that is killed leaves its socket. (With "-displayfd" it makes no lock.)
void PrivateDisplay::end() const {
    if (WIFSIGNALED(endProgram(process_)) && isAbandoned(socketPath_))
        unlink(socketPath_.c_str());
}

} // namespace tessaro
