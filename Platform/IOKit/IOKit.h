// The registry of devices, as far as the system asks it: the primary Ethernet interface with its controller, and the
// machine itself. One thread at a time. Nothing throws.
//
// On Linux an Ethernet interface is a network device with a controller behind it, cable or wireless; the primary one is
// the one built in with a cable, else built in without, else on USB. Its controller's address is the one that the
// hardware was made with. The machine's serial number is the firmware's, which often only root may read.
#pragma once

#include "Foundation/NSString.h"

#include <functional>
#include <variant>

namespace platform {

using kern_return_t = std::int32_t;
inline constexpr kern_return_t KERN_SUCCESS = 0;
inline constexpr kern_return_t KERN_FAILURE = 5;
inline constexpr kern_return_t kIOReturnNoDevice = static_cast<kern_return_t>(0xE00002C0);
inline constexpr kern_return_t kIOReturnBadArgument = static_cast<kern_return_t>(0xE00002C2);

inline constexpr const char* kIOServicePlane = "IOService";
inline constexpr const char* kIOMACAddress = "IOMACAddress";                     // bytes
inline constexpr const char* kIOPlatformSerialNumber = "IOPlatformSerialNumber"; // text

// The value of "IOPropertyMatch".
struct IOPropertyMatch {
    bool IOPrimaryInterface = false;
};
struct IOMatching {
    std::string serviceClass; // "IOEthernetInterface" or "IOPlatformExpertDevice"
    std::optional<IOPropertyMatch> propertyMatch;
};

// An entry by its path in the device tree; a controller also tells by which of its interfaces it was reached.
struct IORegistryEntry {
    std::string path;
    std::string interface;
};

struct IORegistry {
    std::function<std::optional<IOMatching>(const char* serviceClass)> IOServiceMatching;
    std::function<std::optional<IOPropertyMatch>()> CFDictionaryCreateMutable;
    // All that match, to be gone through in their order.
    std::function<kern_return_t(const std::optional<IOMatching>& matching, std::vector<IORegistryEntry>& services)>
        IOServiceGetMatchingServices;
    std::function<std::optional<IORegistryEntry>(const std::optional<IOMatching>& matching)>
        IOServiceGetMatchingService;
    std::function<kern_return_t(const IORegistryEntry& entry, const char* plane, IORegistryEntry& parent)>
        IORegistryEntryGetParentEntry;
    std::function<std::optional<std::variant<Data, String>>(const IORegistryEntry& entry, const char* key)>
        IORegistryEntryCreateCFProperty;
};

// `sys` is where the kernel shows the firmware's facts.
[[nodiscard]] IORegistry ioRegistry(const std::string& sys);
[[nodiscard]] const IORegistry& ioRegistry();

} // namespace platform
