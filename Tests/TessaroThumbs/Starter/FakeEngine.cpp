// Stands in for the engine half in tests of the starter and the custodian: takes over the same descriptors, does what
// "-behaviour <name>" says, and tells in the file "-report <path>" what it found, once it is at work.
#include "TessaroThumbs/Engine/EngineContract.h"
#include "TessaroThumbs/ThumbnailRecord.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using Arguments = std::map<std::string, std::string>;

Arguments parse(int argc, char* argv[]) {
    Arguments found;
    for (int i = 1; i + 1 < argc; i += 2)
        found[argv[i]] = argv[i + 1];
    return found;
}

std::string linkOf(const std::string& path) {
    std::array<char, 512> target{};
    const ssize_t length = readlink(path.c_str(), target.data(), target.size());
    return length > 0 ? std::string(target.data(), static_cast<std::size_t>(length)) : "";
}

// "<number>=<what it is>" for every open descriptor.
std::string descriptors() {
    std::string text;
    DIR* folder = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(folder))
        if (entry->d_name[0] != '.' && std::atoi(entry->d_name) != dirfd(folder))
            text +=
                std::string("fd ") + entry->d_name + " " + linkOf(std::string("/proc/self/fd/") + entry->d_name) + "\n";
    closedir(folder);
    return text;
}

std::string displayNumber() {
    std::string number;
    char character = '\0';
    while (read(tessaro::displayDescriptor, &character, 1) == 1 && character != '\n')
        number.push_back(character);
    return number;
}

// Processes that nobody owns any more, in sessions of their own, which hold the record's stream open. Each of them
// forks once more.
void startDaemons(int count) {
    for (int i = 0; i < count; ++i) {
        if (fork() != 0)
            continue;
        setsid();
        if (fork() != 0)
            _exit(EXIT_SUCCESS);
        setsid();
        std::signal(SIGTERM, SIG_IGN);
        std::signal(SIGHUP, SIG_IGN);
        (void)fork();
        for (;;)
            pause();
    }
}

void ignoreEverything() {
    for (int signal = 1; signal < NSIG; ++signal)
        if (signal != SIGCHLD)
            std::signal(signal, SIG_IGN);
}

[[noreturn]] void stayForever() {
    for (;;)
        pause();
}

void report(const std::string& path, int argc, char* argv[]) {
    const std::string found = descriptors();
    std::ofstream file(path + ".new");
    file << "engine " << getpid() << "\ncustodian " << getppid() << "\n" << found;
    if (found.find("fd 4 ") != std::string::npos) {
        const std::string display = displayNumber();
        file << "display " << display << "\n";
        struct stat status {};
        if (lstat(("/tmp/.X11-unix/X" + display).c_str(), &status) == 0)
            file << "socket " << status.st_ino << " " << status.st_ctim.tv_sec << " " << status.st_ctim.tv_nsec << "\n";
    }
    for (int i = 0; i < argc; ++i)
        file << "argument " << argv[i] << "\n";
    for (const char* name : {"DISPLAY", "HOME", "MARK", "GDK_SCALE", "XDG_RUNTIME_DIR"})
        file << "variable " << name << " " << (std::getenv(name) ? std::getenv(name) : "(none)") << "\n";
    file.close();
    (void)std::rename((path + ".new").c_str(), path.c_str());
}

// The record of every behaviour that writes one.
std::string record() {
    char* bytes = nullptr;
    std::size_t length = 0;
    std::FILE* stream = open_memstream(&bytes, &length);
    const std::string picture(200000, 'p');
    tessaro::writeThumbnailRecord(stream, platform::charactersAsBytes("identifier"),
                                  platform::charactersAsBytes(picture), {}, {});
    std::fclose(stream);
    std::string text(bytes, length);
    std::free(bytes);
    return text;
}

void put(const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t count = write(tessaro::recordDescriptor, bytes.data() + at, bytes.size() - at);
        if (count <= 0)
            return;
        at += static_cast<std::size_t>(count);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    const Arguments arguments = parse(argc, argv);
    const auto value = [&](const char* key) { return arguments.contains(key) ? arguments.at(key) : std::string(); };
    const std::string behaviour = value("-behaviour");
    const auto does = [&](const char* name) { return behaviour.find(name) != std::string::npos; };
    if (does("ignore"))
        ignoreEverything();
    if (does("daemons"))
        startDaemons(8);
    if (!value("-report").empty())
        report(value("-report"), argc, argv);
    if (does("line"))
        put("a line of the log\n");
    if (does("record"))
        put(record());
    if (does("half"))
        put(record().substr(0, 100000));
    if (does("close"))
        close(tessaro::recordDescriptor);
    if (does("slowly")) { // after its output
        constexpr useconds_t aTenthOfASecond = 100'000;
        usleep(aTenthOfASecond);
        std::ofstream(value("-report") + ".left") << "left";
    }
    if (does("abort"))
        std::abort();
    if (does("kill"))
        std::raise(SIGKILL);
    if (does("stay"))
        stayForever();
    return does("fail") ? 3 : EXIT_SUCCESS;
}
