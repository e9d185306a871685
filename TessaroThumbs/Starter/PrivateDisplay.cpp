#include "TessaroThumbs/Starter/PrivateDisplay.h"

#include "TessaroThumbs/Starter/Processes.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <glob.h>
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

bool isOurs(const std::string& socketPath, time_t since) {
    struct stat socket {};
    return lstat(socketPath.c_str(), &socket) == 0 && S_ISSOCK(socket.st_mode) && socket.st_uid == geteuid() &&
           socket.st_mtime >= since;
}

// A server that is killed leaves its socket (with "-displayfd" it makes no lock), perhaps before it has told its
// number: then the socket is one of those that were made since the server's start.
void removeAbandonedSockets(const std::string& number, time_t since) {
    glob_t sockets{};
    const std::string pattern = "/tmp/.X11-unix/X" + (number.empty() ? "*" : number);
    if (glob(pattern.c_str(), GLOB_NOSORT, nullptr, &sockets) == 0)
        for (std::size_t i = 0; i < sockets.gl_pathc; ++i)
            if (isOurs(sockets.gl_pathv[i], since) && isAbandoned(sockets.gl_pathv[i]))
                unlink(sockets.gl_pathv[i]);
    globfree(&sockets);
}

} // namespace

std::optional<PrivateDisplay> PrivateDisplay::start() {
    if (access(serverPath, X_OK) != 0) {
        std::fprintf(stderr, "TessaroThumbs: there is no %s to run the page's display (Debian package xvfb).\n",
                     serverPath);
        return std::nullopt;
    }
    const int authority = makeAuthority();
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    std::array<int, 2> server{-1, -1};
    std::array<int, 2> number{-1, -1};
    // The engine's web process joins from its sandbox through the socket file: the abstract one is out of its reach.
    const std::vector<std::string> arguments = {
        "Xvfb",      "-displayfd", std::to_string(numberTarget),
        "-screen",   "0",          "1440x900x24",
        "-dpi",      "96",         "-noreset",
        "-nolisten", "tcp",        "-extension",
        "GLX",       "-auth",      "/proc/self/fd/" + std::to_string(authorityTarget)};
    const time_t started = std::time(nullptr);
    pid_t process = -1;
    if (authority >= 0 && nowhere >= 0 && pipe2(server.data(), O_CLOEXEC) == 0 && pipe2(number.data(), O_CLOEXEC) == 0)
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
    return PrivateDisplay(process, server[0], number[0], number[1], authority, started);
}

void PrivateDisplay::passNumberOn() {
    std::array<char, 16> text{};
    const ssize_t count = read(server_, text.data(), text.size());
    if (count > 0) {
        name_.append(text.data(), static_cast<std::size_t>(count));
        (void)!write(numberWriter_, text.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
        close(server_);
        close(numberWriter_); // a number that did not come does not come any more
        server_ = numberWriter_ = -1;
    }
}

void PrivateDisplay::end() const {
    if (WIFSIGNALED(endProgram(process_)))
        removeAbandonedSockets(name_.substr(0, name_.find('\n')), started_);
}

} // namespace tessaro
