#include "brimle/BRSystem.h"

#include "Foundation/NSPathUtilities.h"
#include "brimle/DRLogger.h"

#include <array>
#include <cerrno>
#include <cstring>

namespace brimle {
namespace {

using platform::stringWithFormat;
using platform::SystemControl;
using platform::TypeDeclaration;

constexpr const char* nativeName = "sysctl.proc_native";

// 0, or an errno value after a message.
int askNative(std::int32_t pid, std::int32_t& native, const SystemControl& control) {
    std::size_t length = sizeof(native);
    if (pid == 0) {
        if (control.sysctlbyname(nativeName, &native, &length) == 0)
            return 0;
        const int code = errno;
        DRLogger::logger()->log2("sysctlbyname_with_pid(0): sysctlbyname failed: %s\n", std::strerror(code));
        return code;
    }
    std::array<int, platform::CTL_MAXNAME + 1> number{}; // with room for the process behind the longest name
    std::size_t entries = platform::CTL_MAXNAME;
    if (control.sysctlnametomib(nativeName, number.data(), &entries) != 0) {
        const int code = errno;
        DRLogger::logger()->log2("sysctlbyname_with_pid: sysctlnametomib failed: %s\n", std::strerror(code));
        return code;
    }
    number[entries++] = pid;
    if (control.sysctl(number.data(), static_cast<unsigned>(entries), &native, &length) == 0)
        return 0;
    const int code = errno;
    DRLogger::logger()->log2("sysctlbyname_with_pid: sysctl failed: %s\n", std::strerror(code));
    return code;
}

} // namespace

const SystemFacilities& systemFacilities() {
    static const SystemFacilities machine = {
        platform::systemControl(), platform::uniformTypes(), platform::ioRegistry(),
        [](platform::OSType selector, std::int32_t* response) { return platform::Gestalt(selector, response); },
        platform::NSUserName};
    return machine;
}

BRSystem& BRSystem::info() {
    static auto* shared = new BRSystem;
    return *shared;
}

String BRSystem::hwModel(const SystemFacilities& system) const {
    std::array<char, 64> model{};
    std::size_t length = model.size();
    if (system.control.sysctlbyname("hw.model", model.data(), &length) != 0)
        return u"unknown";
    return platform::stringWithUTF8({model.data(), strnlen(model.data(), model.size())}).value_or(u"unknown");
}

String BRSystem::hwHumanModelName(const SystemFacilities& system) const {
    const String identifier =
        system.types.UTTypeCreatePreferredIdentifierForTag(platform::kUTTagClassDeviceModelCode, hwModel(system))
            .value_or(u"com.apple.mac");
    std::optional<TypeDeclaration> declaration = system.types.UTTypeCopyDeclaration(identifier);
    if (declaration && !declaration->description && declaration->conformsTo)
        declaration = system.types.UTTypeCopyDeclaration(*declaration->conformsTo); // one level, not further
    return declaration ? declaration->description.value_or(u"Mac") : u"Mac";
}

String BRSystem::hwModelIconFile(const SystemFacilities& system) const {
    const String model = hwModel(system);
    std::optional<String> ofPrefix;
    for (const TypeDeclaration& declaration : system.types.UTExportedTypeDeclarations()) {
        const auto tags = declaration.tags.find(String(platform::kUTTagClassDeviceModelCode));
        if (tags == declaration.tags.end())
            continue;
        for (const String& tag : tags->second) {
            if (tag == model) {
                if (declaration.iconFile)
                    return *declaration.iconFile;
                break;
            }
            if (model.starts_with(tag))
                ofPrefix = declaration.iconFile; // the last one counts, also when it has none
        }
    }
    return ofPrefix.value_or(u"com.apple.mac.icns");
}

bool isSystemVersionBetween(std::int32_t low, std::int32_t high, const SystemFacilities& system) {
    std::int32_t response = 0;
    static_cast<void>(system.Gestalt(platform::gestaltSystemVersion, &response)); // an unknown version counts as 0
    return response >= low && response < high;
}

String systemVersion(const SystemFacilities& system) {
    std::int32_t response = 0;
    if (system.Gestalt(platform::gestaltSystemVersion, &response) != platform::noErr)
        return u"Unknown";
    return stringWithFormat("%x", response);
}

std::int32_t is_pid_native(std::int32_t pid, const SystemFacilities& system) {
    std::int32_t native = 0;
    const int code = askNative(pid, native, system.control);
    if (code == 0)
        return native;
    if (code == ENOENT)
        return 1; // a system without translation does not have the entry
    DRLogger::logger()->log2("is_pid_native: sysctlbyname_with_pid failed: %s\n", std::strerror(code));
    return -1;
}

bool isNativeApp(const SystemFacilities& system) {
    // The low byte of the answer: only a definite 0 means translated, an error counts as native.
    return static_cast<std::int8_t>(is_pid_native(0, system)) != 0;
}

} // namespace brimle
