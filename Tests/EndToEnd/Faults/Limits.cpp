// Descriptors, processes and memory that run out.
#include "Fault.h"

#include <csignal>
#include <grp.h>
#include <sys/resource.h>
#include <unistd.h>

namespace faults {
namespace {

using Resource = decltype(RLIMIT_NOFILE);

auto limitAtStart(Resource resource, rlim_t value) {
    return [=](Setup& setup) {
        setup.inChild = [=] {
            const rlimit limit{value, value};
            return setrlimit(resource, &limit) == 0;
        };
    };
}

// The engine half's limit at a random moment of its life.
auto limitEngineHalf(Resource resource, rlim_t value) {
    return [=](Run& run) {
        if (!run.waitFor(Role::EngineHalf))
            return false;
        run.wait(randomMoment());
        const rlimit limit{value, value};
        const pid_t engineHalf = run.process(Role::EngineHalf); // 0 once it has gone: this process to the kernel
        return engineHalf != 0 && prlimit(engineHalf, resource, &limit, nullptr) == 0;
    };
}

// Where everybody can run them: the build may lie in a folder that is closed to others.
std::filesystem::path copyPrograms(const std::filesystem::path& folder) {
    std::filesystem::create_directory(folder);
    for (const char* name : {"TessaroThumbs", "TessaroThumbsEngine", "tessaro-decode-image", "substitutes"})
        std::filesystem::copy(std::filesystem::path(PROGRAMS_FOLDER) / name, folder / name,
                              std::filesystem::copy_options::recursive);
    return folder;
}

// Root has no limit of processes, so root's run is a nobody's, whose other processes do not count then.
auto limitProcesses(rlim_t value) {
    return [=](Setup& setup) {
        setup.programs = copyPrograms(setup.home.parent_path() / "programs");
        setup.inChild = [=] {
            constexpr uid_t nobodyElse = 54321;
            const rlimit limit{value, value};
            if (setrlimit(RLIMIT_NPROC, &limit) != 0)
                return false;
            return geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(nobodyElse) == 0 && setuid(nobodyElse) == 0);
        };
    };
}

} // namespace

std::vector<Fault> limitFaults() {
    constexpr rlim_t mebibyte = rlim_t{1} << 20;
    std::vector<Fault> faults;
    for (const unsigned count : {4U, 5U, 6U, 8U, 10U, 12U, 16U, 24U, 32U, 48U, 64U, 96U})
        faults.push_back(
            {.name = std::to_string(count) + " descriptors", .prepare = limitAtStart(RLIMIT_NOFILE, count)});
    for (const unsigned count : {1U, 2U, 3U, 4U, 5U, 8U, 16U, 32U})
        faults.push_back({.name = std::to_string(count) + " processes", .prepare = limitProcesses(count)});
    for (const unsigned size : {16U, 64U, 256U, 1024U, 4096U, 65536U})
        faults.push_back({.name = std::to_string(size) + " MiB of address space",
                          .prepare = limitAtStart(RLIMIT_AS, size * mebibyte)});
    faults.push_back({.name = "no more descriptors for the engine half at a random moment",
                      .act = limitEngineHalf(RLIMIT_NOFILE, 0),
                      .times = moments()});
    faults.push_back({.name = "no more memory for the engine half at a random moment",
                      .act = limitEngineHalf(RLIMIT_AS, mebibyte),
                      .times = moments()});
    faults.push_back({.name = "no more stack for the engine half at a random moment",
                      .act = limitEngineHalf(RLIMIT_STACK, 4096),
                      .times = moments()});
    return faults;
}

} // namespace faults
