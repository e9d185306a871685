#include "brimle/BRProcesses.h"

#include "brimle/DRLogger.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <unistd.h>

namespace brimle {
namespace {

using platform::kinfo_proc;

struct Free {
    void operator()(void* memory) const { std::free(memory); } // NOLINT(cppcoreguidelines-no-malloc): as allocated
};

// `caller` stands at the head of the messages. The table may grow between the two questions; the second one then fails,
// and that is reported like any other failure.
bool isRunning(const char* caller, StringView name, std::span<const int> number, const SystemControl& system) {
    const auto entries = static_cast<unsigned>(number.size());
    std::size_t length = 0;
    if (system.sysctl(number.data(), entries, nullptr, &length) != 0) {
        const int code = errno;
        DRLogger::logger()->log2("%s failed, sysctl=%d", caller, code);
        return false;
    }
    const std::unique_ptr<void, Free> memory(system.allocate(length));
    if (!memory) {
        DRLogger::logger()->log2("%s failed, out of memory (%d)", caller, static_cast<int>(length));
        return false;
    }
    if (system.sysctl(number.data(), entries, memory.get(), &length) != 0) {
        const int code = errno;
        DRLogger::logger()->log2("%s failed 2, sysctl=%d", caller, code);
        return false;
    }
    const std::optional<std::string> wanted = platform::UTF8String(name);
    const auto* records = static_cast<const kinfo_proc*>(memory.get());
    return wanted && std::any_of(records, records + length / sizeof(kinfo_proc), [&](const kinfo_proc& record) {
               return std::string_view(record.p_comm, strnlen(record.p_comm, sizeof(record.p_comm))) == *wanted;
           });
}

} // namespace

bool currentUserIsRunning(StringView name, const SystemControl& system) {
    const int number[] = {platform::CTL_KERN, platform::KERN_PROC, platform::KERN_PROC_UID,
                          static_cast<int>(geteuid())};
    return isRunning("currentUserIsRunning", name, number, system);
}

bool processIsRunning(StringView name, const SystemControl& system) {
    const int number[] = {platform::CTL_KERN, platform::KERN_PROC, platform::KERN_PROC_ALL};
    return isRunning("processIsRunning", name, number, system);
}

} // namespace brimle
