#include "TessaroThumbs/Starter/PrivateDisplay.h"

#include "TessaroThumbs/Starter/Processes.h"

#include <array>
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

} // namespace

std::optional<PrivateDisplay> PrivateDisplay::start(int numberDescriptor) {
    if (access(serverPath, X_OK) != 0) {
        std::fprintf(stderr, "TessaroThumbs: there is no %s to run the page's display (Debian package xvfb).\n",
                     serverPath);
        return std::nullopt;
    }
    const int authority = makeAuthority();
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    // Clients come through the abstract socket, which vanishes with the server; the lock file is root's to leave out.
    std::vector<std::string> arguments = {"Xvfb", "-displayfd", std::to_string(numberTarget), "-screen", "0",
                                          "1440x900x24", "-dpi", "96", "-noreset", "-nolisten", "tcp", "-nolisten",
                                          "unix", "-extension", "GLX", "-auth",
                                          "/proc/self/fd/" + std::to_string(authorityTarget)};
    if (geteuid() == 0)
        arguments.emplace_back("-nolock");
    const pid_t process = authority < 0 || nowhere < 0
                              ? -1
                              : startProgram(serverPath, arguments, {"PATH=/usr/bin:/bin"},
                                             {{nowhere, STDIN_FILENO},
                                              {nowhere, STDOUT_FILENO},
                                              {nowhere, STDERR_FILENO}, // it reports keyboard symbols that nobody has
                                              {numberDescriptor, numberTarget},
                                              {authority, authorityTarget}});
    close(nowhere);
    if (process < 0) {
        std::perror("TessaroThumbs: the private display could not be started");
        return std::nullopt;
    }
    return PrivateDisplay(process, authority);
}

void PrivateDisplay::removeTraces() const {
    glob_t locks{};
    if (glob("/tmp/.X*-lock", 0, nullptr, &locks) == 0) {
        for (std::size_t i = 0; i < locks.gl_pathc; ++i) {
            pid_t owner = 0;
            if (std::ifstream(locks.gl_pathv[i]) >> owner && owner == process_)
                unlink(locks.gl_pathv[i]);
        }
    }
    globfree(&locks);
}

} // namespace tessaro
