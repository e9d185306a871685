// What tells one machine from another.

#include "brimle/BRSystem.h"

#include "Foundation/StandardOutput.h"
#include "brimle/BRCrypto.h"
#include "brimle/DRLogger.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace brimle {
namespace {

using platform::Data;
using platform::IORegistry;
using platform::IORegistryEntry;
using platform::kern_return_t;
using platform::stringWithFormat;

using Address = std::array<std::uint8_t, 6>;

// Diagnostics of the device registry go to standard output, where a caller's user sees them. Not for a program whose
// standard output is read by another.
template <class... Arguments>
void printDiagnostic(platform::CheckedFormat<std::type_identity_t<Arguments>...> format,
                     const Arguments&... arguments) {
    if (std::FILE* output = platform::standardOutput())
        std::fputs(platform::lossyUTF8String(stringWithFormat<Arguments...>(format, arguments...)).c_str(), output);
}

kern_return_t findEthernetInterfaces(const IORegistry& registry, std::vector<IORegistryEntry>& services) {
    std::optional<platform::IOMatching> matching = registry.IOServiceMatching("IOEthernetInterface");
    if (!matching) {
        printDiagnostic("IOServiceMatching returned a NULL dictionary.\n");
    } else if (std::optional<platform::IOPropertyMatch> match = registry.CFDictionaryCreateMutable()) {
        match->IOPrimaryInterface = true;
        matching->propertyMatch = match;
    } else {
        printDiagnostic("CFDictionaryCreateMutable returned a NULL dictionary.\n");
    }
    const kern_return_t result = registry.IOServiceGetMatchingServices(matching, services);
    if (result != platform::KERN_SUCCESS)
        printDiagnostic("IOServiceGetMatchingServices returned 0x%08x\n", result);
    return result;
}

// Of the last interface. The result is that of the last look for a controller.
kern_return_t getMACAddress(const IORegistry& registry, const std::vector<IORegistryEntry>& services,
                            Address& address) {
    address.fill(0);
    kern_return_t result = platform::KERN_FAILURE;
    for (const IORegistryEntry& service : services) {
        IORegistryEntry controller;
        result = registry.IORegistryEntryGetParentEntry(service, platform::kIOServicePlane, controller);
        if (result != platform::KERN_SUCCESS) {
            printDiagnostic("IORegistryEntryGetParentEntry returned 0x%08x\n", result);
            continue;
        }
        const auto property = registry.IORegistryEntryCreateCFProperty(controller, platform::kIOMACAddress);
        if (const Data* bytes = property ? std::get_if<Data>(&*property) : nullptr)
            std::copy_n(bytes->begin(), std::min(bytes->size(), address.size()), address.begin());
    }
    return result;
}

} // namespace

std::optional<String> SystemMACAddress(const SystemFacilities& system) {
    std::vector<IORegistryEntry> services;
    const kern_return_t found = findEthernetInterfaces(system.registry, services);
    if (found != platform::KERN_SUCCESS) {
        DRLogger::logger()->log2("SystemMACAddress failed, FindEthernetInterfaces returned 0x%08x\n", found);
        return std::nullopt;
    }
    Address address{};
    const kern_return_t result = getMACAddress(system.registry, services, address);
    if (result != platform::KERN_SUCCESS) {
        DRLogger::logger()->log2("SystemMACAddress failed, GetMACAddress returned 0x%08x\n", result);
        return std::nullopt;
    }
    return stringWithFormat("%02x:%02x:%02x:%02x:%02x:%02x", address[0], address[1], address[2], address[3], address[4],
                            address[5]);
}

std::optional<String> SystemSerialNumber(const SystemFacilities& system) {
    const auto machine =
        system.registry.IOServiceGetMatchingService(system.registry.IOServiceMatching("IOPlatformExpertDevice"));
    if (!machine)
        return std::nullopt;
    const auto property = system.registry.IORegistryEntryCreateCFProperty(*machine, platform::kIOPlatformSerialNumber);
    const String* serial = property ? std::get_if<String>(&*property) : nullptr;
    return serial ? std::optional<String>(*serial) : std::nullopt;
}

const String& br_uniqueSystemID(const SystemFacilities& system) {
    static const String* identifier = nullptr;
    if (!identifier) {
        std::optional<String> base = SystemMACAddress(system);
        if (!base)
            base = SystemSerialNumber(system);
        identifier = new String(br_MD5hex(base.value_or(u"NA") + system.NSUserName()));
    }
    return *identifier;
}

} // namespace brimle
