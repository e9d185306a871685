#include "IOKit.h"

#include "NetworkInterfaces.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace platform {
namespace {

constexpr std::string_view ethernetClass = "IOEthernetInterface";
constexpr std::string_view machineClass = "IOPlatformExpertDevice";
constexpr const char* machinePath = "/";

// What firmware says that was never told a number.
bool isPlaceholder(std::string_view text) {
    constexpr std::string_view placeholders[] = {"",
                                                 "0",
                                                 "None",
                                                 "Default string",
                                                 "N/A",
                                                 "Not Specified",
                                                 "To Be Filled By O.E.M.",
                                                 "To be filled by O.E.M.",
                                                 "System Serial Number"};
    return std::find(std::begin(placeholders), std::end(placeholders), text) != std::end(placeholders);
}

std::optional<String> serialNumber(const std::string& sys) {
    for (const char* file : {"/class/dmi/id/product_serial", "/firmware/devicetree/base/serial-number"}) {
        std::ifstream stream(sys + file, std::ios::binary);
        std::string text{std::istreambuf_iterator<char>(stream), {}};
        text = text.substr(0, text.find('\0'));
        text.erase(text.find_last_not_of(" \n") + 1);
        if (!isPlaceholder(text))
            return stringWithUTF8OrLatin1(text);
    }
    return std::nullopt;
}

kern_return_t matchingServices(const std::optional<IOMatching>& matching, std::vector<IORegistryEntry>& services) {
    services.clear();
    if (!matching)
        return kIOReturnBadArgument;
    if (matching->serviceClass == machineClass)
        services.push_back({machinePath, {}});
    if (matching->serviceClass != ethernetClass)
        return KERN_SUCCESS;
    const auto interfaces = networkInterfaces();
    if (!interfaces)
        return KERN_FAILURE;
    const NetworkInterface* primary = primaryInterface(*interfaces);
    const bool primaryOnly = matching->propertyMatch && matching->propertyMatch->IOPrimaryInterface;
    for (const NetworkInterface& candidate : *interfaces)
        if (!primaryOnly || &candidate == primary)
            services.push_back({candidate.path, {}});
    return KERN_SUCCESS;
}

kern_return_t parentEntry(const IORegistryEntry& entry, const char* plane, IORegistryEntry& parent) {
    if (std::string_view(plane) != kIOServicePlane)
        return kIOReturnBadArgument;
    for (const NetworkInterface& candidate : networkInterfaces().value_or(std::vector<NetworkInterface>())) {
        if (candidate.path == entry.path) {
            parent = {candidate.controller, candidate.path};
            return KERN_SUCCESS;
        }
    }
    return kIOReturnNoDevice; // it has gone
}

} // namespace

IORegistry ioRegistry(const std::string& sys) {
    IORegistry registry;
    registry.IOServiceMatching = [](const char* serviceClass) { return IOMatching{serviceClass, std::nullopt}; };
    registry.CFDictionaryCreateMutable = [] { return IOPropertyMatch(); };
    registry.IOServiceGetMatchingServices = matchingServices;
    registry.IOServiceGetMatchingService = [](const std::optional<IOMatching>& matching) {
        std::vector<IORegistryEntry> services;
        static_cast<void>(matchingServices(matching, services)); // without services there is none
        return services.empty() ? std::nullopt : std::optional<IORegistryEntry>(services.front());
    };
    registry.IORegistryEntryGetParentEntry = parentEntry;
    registry.IORegistryEntryCreateCFProperty = [sys](const IORegistryEntry& entry,
                                                     const char* key) -> std::optional<std::variant<Data, String>> {
        const std::string_view name = key;
        if (name == kIOMACAddress && !entry.interface.empty())
            return hardwareAddress(entry.interface);
        if (name == kIOPlatformSerialNumber && entry.path == machinePath)
            return serialNumber(sys);
        return std::nullopt;
    };
    return registry;
}

const IORegistry& ioRegistry() {
    static const IORegistry machine = ioRegistry("/sys");
    return machine;
}

} // namespace platform
