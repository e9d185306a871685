#include "ProcessTable.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

// Calls visit(directory descriptor, name, process id) for every process until it returns false.
template <class Visit>
bool forEachProcess(const std::string& proc, const Visit& visit) {
    const Directory directory(opendir(proc.c_str()));
    if (!directory)
        return false;
    while (const dirent* entry = readdir(directory.get())) {
        pid_t pid = 0;
        const char* end = entry->d_name + std::strlen(entry->d_name);
        const auto parsed = std::from_chars(entry->d_name, end, pid);
        if (parsed.ec == std::errc() && parsed.ptr == end && !visit(dirfd(directory.get()), entry->d_name, pid))
            break;
    }
    return true;
}

// The first bytes of a process's file; empty when it has ended.
std::string_view readFile(int directory, const char* process, const char* name, std::span<char> room) {
    std::array<char, 64> path{};
    std::snprintf(path.data(), path.size(), "%s/%s", process, name);
    const int file = openat(directory, path.data(), O_RDONLY | O_CLOEXEC);
    if (file == -1)
        return {};
    const ssize_t count = read(file, room.data(), room.size());
    close(file);
    return {room.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

std::optional<uid_t> effectiveUser(int directory, const char* process) {
    struct stat status {};
    if (fstatat(directory, process, &status, 0) != 0)
        return std::nullopt;
    if (status.st_uid != 0)
        return status.st_uid;
    // A process that changed its user shows its files as root's, so only its status tells.
    std::array<char, 1024> room{};
    const std::string_view text = readFile(directory, process, "status", room);
    const std::size_t line = text.find("\nUid:\t");
    const std::size_t effective = line == std::string_view::npos ? line : text.find('\t', line + 6);
    uid_t user = 0;
    if (effective == std::string_view::npos ||
        std::from_chars(text.data() + effective + 1, text.data() + text.size(), user).ec != std::errc())
        return std::nullopt;
    return user;
}

} // namespace

std::optional<std::size_t> countProcesses(const std::string& proc) {
    std::size_t count = 0;
    const bool read = forEachProcess(proc, [&](int, const char*, pid_t) {
        ++count;
        return true;
    });
    return read ? std::optional<std::size_t>(count) : std::nullopt;
}

std::optional<std::size_t> readProcesses(const std::string& proc, std::optional<uid_t> user,
                                         std::span<kinfo_proc> records) {
    std::size_t count = 0;
    bool fits = true;
    const bool read = forEachProcess(proc, [&](int directory, const char* name, pid_t pid) {
        std::array<char, MAXCOMLEN + 1> room{};
        std::string_view command = readFile(directory, name, "comm", room);
        if (command.ends_with('\n'))
            command.remove_suffix(1);
        else if (command.empty())
            return true; // it has ended
        const std::optional<uid_t> owner = user ? effectiveUser(directory, name) : 0;
        if (!owner || (user && *owner != *user))
            return true;
        fits = count < records.size();
        if (!fits)
            return false;
        kinfo_proc& record = records[count++];
        record = {pid, *owner, {}};
        command.copy(record.p_comm, MAXCOMLEN);
        return true;
    });
    if (read && !fits)
        errno = ENOMEM;
    return read && fits ? std::optional<std::size_t>(count) : std::nullopt;
}

} // namespace platform
