#include "SystemControl.h"

#include "ProcessTable.h"
#include "TranslatedPrograms.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <unistd.h>

namespace platform {
namespace {

// The number of "sysctl.proc_native"; it is followed by a process id.
constexpr int procNative[] = {0, 102};
// Processes may start between the question for the size and the one for the records.
constexpr std::size_t spareRecords = 64;

int failure(int code) {
    errno = code;
    return -1;
}

int give(const void* from, std::size_t size, void* value, std::size_t* length) {
    const std::size_t room = *length;
    *length = size;
    if (!value)
        return 0;
    if (room < size)
        return failure(ENOMEM);
    std::memcpy(value, from, size);
    return 0;
}

// The name that the firmware gives the machine, on PCs by DMI and on boards by the device tree.
std::string model(const std::string& sys) {
    for (const char* file : {"/class/dmi/id/product_name", "/firmware/devicetree/base/model"}) {
        std::ifstream stream(sys + file, std::ios::binary);
        std::string text{std::istreambuf_iterator<char>(stream), {}};
        text = text.substr(0, text.find('\0'));
        text.erase(text.find_last_not_of(" \n") + 1);
        if (!text.empty())
            return text;
    }
    return {};
}

int giveNative(const std::string& proc, const std::string& process, void* value, std::size_t* length) {
    const std::optional<bool> native = isNativeProcess(proc, process);
    if (!native)
        return -1; // with the errno of the question
    const std::int32_t number = *native ? 1 : 0;
    return give(&number, sizeof(number), value, length);
}

int giveProcesses(const std::string& proc, std::span<const int> number, void* value, std::size_t* length) {
    const bool all = number.size() == 3 && number[2] == KERN_PROC_ALL;
    const bool ofUser = number.size() == 4 && number[2] == KERN_PROC_UID;
    if (!all && !ofUser)
        return failure(ENOENT);
    if (!value) {
        const std::optional<std::size_t> count = countProcesses(proc);
        if (!count)
            return -1;
        *length = (*count + spareRecords) * sizeof(kinfo_proc);
        return 0;
    }
    const std::span<kinfo_proc> records(static_cast<kinfo_proc*>(value), *length / sizeof(kinfo_proc));
    const std::optional<uid_t> user = ofUser ? std::optional<uid_t>(static_cast<uid_t>(number[3])) : std::nullopt;
    const std::optional<std::size_t> count = readProcesses(proc, user, records);
    if (!count)
        return -1;
    *length = *count * sizeof(kinfo_proc);
    return 0;
}

} // namespace

SystemControl systemControl(const SystemRoots& roots) {
    SystemControl control;
    control.sysctlbyname = [roots](const char* name, void* value, std::size_t* length) {
        if (std::string_view(name) == "sysctl.proc_native")
            return giveNative(roots.proc, "self", value, length);
        if (std::string_view(name) != "hw.model")
            return failure(ENOENT);
        const std::string text = model(roots.sys);
        return text.empty() ? failure(ENOENT) : give(text.c_str(), text.size() + 1, value, length);
    };
    control.sysctlnametomib = [](const char* name, int* number, std::size_t* entries) {
        if (std::string_view(name) != "sysctl.proc_native")
            return failure(ENOENT);
        if (*entries < std::size(procNative))
            return failure(ENOMEM);
        *entries = static_cast<std::size_t>(std::copy(std::begin(procNative), std::end(procNative), number) - number);
        return 0;
    };
    control.sysctl = [roots](const int* number, unsigned entries, void* value, std::size_t* length) {
        const std::span<const int> numbers(number, entries);
        if (entries == std::size(procNative) + 1 && std::equal(std::begin(procNative), std::end(procNative), number))
            return giveNative(roots.proc, std::to_string(numbers.back()), value, length);
        if (entries >= 3 && number[0] == CTL_KERN && number[1] == KERN_PROC)
            return giveProcesses(roots.proc, numbers, value, length);
        return failure(ENOENT);
    };
    return control;
}

const SystemControl& systemControl() {
    static const SystemControl machine = systemControl(SystemRoots());
    return machine;
}

} // namespace platform
