#include "TessaroThumbs/Starter/PrivateDisplay.h"

#include "TessaroThumbs/Starter/Processes.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <glob.h>
#include <sys/mman.h>
#include <sys/random.h>
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

// A server that was killed leaves its lock, "/tmp/.X<number>-lock" with its process number in it, and its socket. As
// long as the lock names this server, no other one has taken its number.
void removeTraces(pid_t server) {
    glob_t locks{};
    if (glob("/tmp/.X*-lock", 0, nullptr, &locks) == 0) {
        for (std::size_t i = 0; i < locks.gl_pathc; ++i) {
            const std::string lock = locks.gl_pathv[i];
            pid_t owner = 0;
            if (!(std::ifstream(lock) >> owner) || owner != server)
                continue;
            const std::size_t name = lock.find("/.X") + 2;
            unlink(("/tmp/.X11-unix/" + lock.substr(name, lock.rfind("-lock") - name)).c_str());
            unlink(lock.c_str());
        }
    }
    globfree(&locks);
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
    std::array<int, 2> number{-1, -1};
    // The engine's web process joins from its sandbox through the socket file: the abstract one is out of its reach.
    const std::vector<std::string> arguments = {
        "Xvfb",      "-displayfd", std::to_string(numberTarget),
        "-screen",   "0",          "1440x900x24",
        "-dpi",      "96",         "-noreset",
        "-nolisten", "tcp",        "-extension",
        "GLX",       "-auth",      "/proc/self/fd/" + std::to_string(authorityTarget)};
    pid_t process = -1;
    if (authority >= 0 && nowhere >= 0 && pipe2(number.data(), O_CLOEXEC) == 0)
        process = startProgram(serverPath, arguments, {"PATH=/usr/bin:/bin"},
                               {{nowhere, STDIN_FILENO},
                                {nowhere, STDOUT_FILENO},
                                {nowhere, STDERR_FILENO}, // it reports keyboard symbols that nobody has
                                {number[1], numberTarget},
                                {authority, authorityTarget}},
                               SIGTERM);
    if (process < 0) {
        std::perror("TessaroThumbs: the private display could not be started");
        return std::nullopt;
    }
    close(nowhere);
    close(number[1]);
    return PrivateDisplay(process, number[0], authority);
}

void PrivateDisplay::end() const {
    endProgram(process_);
    removeTraces(process_);
}

} // namespace tessaro
