// What the kernel knows about the machine and its processes, under names and numbers. Any thread.
//
// As with the C library's function of that name, a null `value` asks for the size alone, `*length` is the room in bytes
// before and the bytes written after, and a failure is -1 with errno set (ENOMEM when the room does not suffice, ENOENT
// for a name that this system does not have).
#pragma once

#include "NSString.h"

#include <cstdlib>
#include <functional>
#include <sys/types.h>

namespace platform {

inline constexpr int CTL_KERN = 1;
inline constexpr int KERN_PROC = 14;
inline constexpr int KERN_PROC_ALL = 0; // followed by nothing
inline constexpr int KERN_PROC_UID = 5; // followed by an effective user id
inline constexpr std::size_t CTL_MAXNAME = 12;
inline constexpr std::size_t MAXCOMLEN = 16;

// One record of the process table. The kernel keeps the first 15 bytes of a program's name.
struct kinfo_proc {
    pid_t p_pid;
    uid_t e_uid;
    char p_comm[MAXCOMLEN + 1]; // ends with a zero byte
};

struct SystemControl {
    // "hw.model": text with its zero byte. "sysctl.proc_native": a 32-bit number for the calling process, 1 when its
    // machine code runs on the processor itself, 0 when a program registered with the kernel translates it.
    std::function<int(const char* name, void* value, std::size_t* length)> sysctlbyname;
    // The number of a name, `*entries` long. "sysctl.proc_native" only; a process id is appended to it.
    std::function<int(const char* name, int* number, std::size_t* entries)> sysctlnametomib;
    // {CTL_KERN, KERN_PROC, ...}: records of processes. The size alone is an estimate with room for some more.
    std::function<int(const int* number, unsigned entries, void* value, std::size_t* length)> sysctl;
    // Memory for what is asked for; freed with std::free.
    std::function<void*(std::size_t bytes)> allocate = [](std::size_t bytes) { return std::malloc(bytes); };
};

// Where the kernel shows itself.
struct SystemRoots {
    std::string proc = "/proc";
    std::string sys = "/sys";
};

[[nodiscard]] SystemControl systemControl(const SystemRoots& roots);
// This machine's.
[[nodiscard]] const SystemControl& systemControl();

} // namespace platform
