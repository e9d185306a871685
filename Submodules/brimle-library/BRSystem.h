// Facts about the machine and the system that runs on it. All of it is read only; a failure is logged through
// DRLogger::log2 (a few device-registry diagnostics go to standard output instead) and ends in a fallback value.
// One thread at a time. Nothing throws.
#pragma once

#include "ApplicationServices/Gestalt.h"
#include "ApplicationServices/UTType.h"
#include "Foundation/SystemControl.h"
#include "IOKit/IOKit.h"

namespace platform {
class NSImage;
}

namespace brimle {

using platform::String;
using platform::StringView;

// Everything that is asked of the platform.
struct SystemFacilities {
    platform::SystemControl control;
    platform::UniformTypes types;
    platform::IORegistry registry;
    std::function<platform::OSErr(platform::OSType selector, std::int32_t* response)> Gestalt;
    std::function<String()> NSUserName;
};
[[nodiscard]] const SystemFacilities& systemFacilities();

class BRSystem {
public:
    // The shared instance, made at first use and kept.
    [[nodiscard]] static BRSystem& info();

    // The machine's model code, or "unknown": also when it is longer than 63 bytes.
    [[nodiscard]] String hwModel(const SystemFacilities& system = systemFacilities()) const;
    // The description that is declared for the model, else for what that conforms to, or "Mac".
    [[nodiscard]] String hwHumanModelName(const SystemFacilities& system = systemFacilities()) const;
    // The model's icon, found once. It is in the target brimle-system-icon, which links images; include
    // "AppKit/NSImage.h" to use it.
    [[nodiscard]] const platform::NSImage& hwModelIcon(const SystemFacilities& system = systemFacilities()) const;
    // The name of the file in which that icon is, or "com.apple.mac.icns". The icon of the type that is declared for
    // exactly this model, else of the last type that is declared for the beginning of its code.
    [[nodiscard]] String hwModelIconFile(const SystemFacilities& system = systemFacilities()) const;
};

// low <= version < high, for packed versions (0x1068 is 10.6.8). A version that is not known counts as 0.
[[nodiscard]] bool isSystemVersionBetween(std::int32_t low, std::int32_t high,
                                          const SystemFacilities& system = systemFacilities());
// The packed version in hexadecimal digits, such as "1068", or "Unknown".
[[nodiscard]] String systemVersion(const SystemFacilities& system = systemFacilities());

// Whether a process (0: this one) runs the processor's own machine code: 1 yes, 0 no, it is translated, -1 not known.
// Where the system does not know the question, every process does.
[[nodiscard]] std::int32_t is_pid_native(std::int32_t pid, const SystemFacilities& system = systemFacilities());
// False only when this process is known to be translated.
[[nodiscard]] bool isNativeApp(const SystemFacilities& system = systemFacilities());

// The address of the primary Ethernet interface's controller, such as "00:11:22:33:44:55"; all zeros when the
// controller does not tell, absent when there is none.
[[nodiscard]] std::optional<String> SystemMACAddress(const SystemFacilities& system = systemFacilities());
// The machine's serial number; absent when there is none or it may not be read.
[[nodiscard]] std::optional<String> SystemSerialNumber(const SystemFacilities& system = systemFacilities());

// 32 hexadecimal digits that stand for this machine and user. Found once: later calls give the same text even if the
// hardware has changed.
[[nodiscard]] const String& br_uniqueSystemID(const SystemFacilities& system = systemFacilities());

} // namespace brimle
