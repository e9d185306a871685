#include "Confinement.h"

#include <csignal>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace platform {
namespace {

// The pixels of the largest image, three times over (the decoder's own, ours, the answer), and the libraries.
constexpr rlim_t addressSpace = rlim_t{640} << 20;
constexpr rlim_t processorSeconds = 2;

bool limit(int resource, rlim_t value) {
    const rlimit both{value, value};
    return setrlimit(static_cast<__rlimit_resource_t>(resource), &both) == 0;
}

// What an allocator, a lock, and reading and writing descriptors that are open come down to.
constexpr int harmlessCalls[] = {
    SCMP_SYS(read),          SCMP_SYS(write),        SCMP_SYS(pread64),        SCMP_SYS(lseek),
    SCMP_SYS(fstat),         SCMP_SYS(newfstatat),   SCMP_SYS(close),          SCMP_SYS(brk),
    SCMP_SYS(munmap),        SCMP_SYS(mremap),       SCMP_SYS(madvise),        SCMP_SYS(futex),
    SCMP_SYS(clock_gettime), SCMP_SYS(gettimeofday), SCMP_SYS(getpid),         SCMP_SYS(gettid),
    SCMP_SYS(sched_yield),   SCMP_SYS(getrandom),    SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn),
    SCMP_SYS(sysinfo), // glibc asks how much memory there is before it sorts
    SCMP_SYS(exit),          SCMP_SYS(exit_group),
#ifdef __SANITIZE_ADDRESS__
    SCMP_SYS(sigaltstack), // asked by its runtime before every call that does not return
#endif
};

bool allow(scmp_filter_ctx filter) {
    for (const int call : harmlessCalls)
        if (seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) != 0)
            return false;
    // Memory, but none that can be executed, and no files: only descriptor -1.
    constexpr auto executable = static_cast<scmp_datum_t>(PROT_EXEC);
    return seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(mmap), 2, SCMP_A2(SCMP_CMP_MASKED_EQ, executable, 0),
                            SCMP_A4(SCMP_CMP_MASKED_EQ, 0xFFFFFFFFu, 0xFFFFFFFFu)) == 0 &&
           seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(mprotect), 1,
                            SCMP_A2(SCMP_CMP_MASKED_EQ, executable, 0)) == 0;
}

} // namespace

bool limitResources() {
    return prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && prctl(PR_SET_DUMPABLE, 0) == 0 &&
#ifndef __SANITIZE_ADDRESS__ // which maps its shadow of all memory
           limit(RLIMIT_AS, addressSpace) &&
#endif
           limit(RLIMIT_CPU, processorSeconds) && limit(RLIMIT_CORE, 0) && limit(RLIMIT_NOFILE, 0);
}

bool giveUpSystemCalls() {
    scmp_filter_ctx filter = seccomp_init(SCMP_ACT_KILL_PROCESS);
    if (!filter)
        return false;
    // Loading it also forbids for ever to gain privileges.
    const bool loaded = allow(filter) && seccomp_load(filter) == 0;
    seccomp_release(filter);
    return loaded;
}

} // namespace platform
