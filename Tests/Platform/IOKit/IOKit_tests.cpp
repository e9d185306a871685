#include "IOKit/IOKit.h"
#include "IOKit/NetworkInterfaces.h"

#include "../../Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <map>

namespace platform {
namespace {

using testing_support::contentsOf;
using testing_support::TemporaryFolder;

struct PrimaryCase {
    const char* what;
    std::vector<NetworkInterface> interfaces;
    const char* primary; // null: none
};

TEST(IOKit, ThePrimaryInterfaceIsTheMachinesOwnCableFirst) {
    const NetworkInterface cable = {"cable", "a", false, false, 4};
    const NetworkInterface secondCable = {"second", "b", false, false, 5};
    const NetworkInterface radio = {"radio", "c", true, false, 2};
    const NetworkInterface dock = {"dock", "d", false, true, 1};
    const NetworkInterface stick = {"stick", "e", true, true, 0};
    const PrimaryCase rows[] = {
        {"none", {}, nullptr},
        {"one", {dock}, "dock"},
        {"cable before radio", {radio, cable}, "cable"},
        {"radio before dock", {dock, radio}, "radio"},
        {"dock before stick", {stick, dock}, "dock"},
        {"the first of two", {secondCable, cable}, "cable"},
        {"all", {stick, dock, radio, secondCable, cable}, "cable"},
    };
    for (const PrimaryCase& row : rows) {
        const NetworkInterface* primary = primaryInterface(row.interfaces);
        ASSERT_EQ(primary != nullptr, row.primary != nullptr) << row.what;
        if (primary) {
            EXPECT_EQ(primary->path, row.primary) << row.what;
        }
    }
}

struct AddressCase {
    const char* text;
    std::optional<Data> address;
};

TEST(IOKit, AddressesAreSixBytes) {
    const AddressCase rows[] = {
        {"00:11:22:33:44:55", Data{0, 0x11, 0x22, 0x33, 0x44, 0x55}},
        {"aB:Cd:eF:00:ff:01", Data{0xAB, 0xCD, 0xEF, 0, 0xFF, 1}},
        {"", {}},
        {"00:11:22:33:44", {}},
        {"00:11:22:33:44:", {}},
        {"00:11:22:33:44:55:", {}},
        {"00:11:22:33:44:55:66", {}},
        {"00-11-22-33-44-55", {}},
        {"0:11:22:33:44:55", {}},
        {"00:11:22:33:44:5", {}},
        {"00:11:22:33:44:g5", {}},
        {"00:11:22:33:44:55\n", {}},
    };
    for (const AddressCase& row : rows)
        EXPECT_EQ(addressFromText(row.text), row.address) << row.text;
}

std::optional<String> serial(const std::filesystem::path& sys) {
    const IORegistry registry = ioRegistry(sys);
    const auto machine = registry.IOServiceGetMatchingService(registry.IOServiceMatching("IOPlatformExpertDevice"));
    const auto property = registry.IORegistryEntryCreateCFProperty(machine.value(), kIOPlatformSerialNumber);
    return property ? std::optional<String>(std::get<String>(*property)) : std::nullopt;
}

struct SerialCase {
    const char* dmi;
    const char* deviceTree;
    const char16_t* serial;
};

TEST(IOKit, TheSerialNumberIsTheFirmwares) {
    const SerialCase rows[] = {
        {"C02XXXXXXXXX\n", nullptr, u"C02XXXXXXXXX"},
        {nullptr, "10000000abcdef01", u"10000000abcdef01"},
        {"S 1  \n", "other", u"S 1"},
        {"Default string\n", "tree", u"tree"},
        {"To Be Filled By O.E.M.\n", nullptr, nullptr},
        {"None\n", nullptr, nullptr},
        {"\n", nullptr, nullptr},
        {nullptr, nullptr, nullptr},
    };
    for (const SerialCase& row : rows) {
        const TemporaryFolder folder;
        if (row.dmi)
            testing_support::write(folder / "class/dmi/id/product_serial", row.dmi);
        if (row.deviceTree)
            testing_support::write(folder / "firmware/devicetree/base/serial-number",
                                   row.deviceTree + std::string(1, '\0'));
        EXPECT_EQ(serial(folder.path()), row.serial ? std::optional<String>(row.serial) : std::nullopt);
    }
}

TEST(IOKit, RefusesWhatItDoesNotKnow) {
    const IORegistry& registry = ioRegistry();
    std::vector<IORegistryEntry> services = {{"stale", {}}};
    EXPECT_EQ(registry.IOServiceGetMatchingServices(std::nullopt, services), kIOReturnBadArgument);
    EXPECT_TRUE(services.empty());
    EXPECT_EQ(registry.IOServiceGetMatchingServices(IOMatching{"IOUSBDevice", {}}, services), KERN_SUCCESS);
    EXPECT_TRUE(services.empty());
    EXPECT_FALSE(registry.IOServiceGetMatchingService(std::nullopt));
    IORegistryEntry parent;
    EXPECT_EQ(registry.IORegistryEntryGetParentEntry({"/no/such/device", {}}, kIOServicePlane, parent),
              kIOReturnNoDevice);
    EXPECT_EQ(registry.IORegistryEntryGetParentEntry({"/no/such/device", {}}, "IOUSB", parent), kIOReturnBadArgument);
    EXPECT_FALSE(registry.IORegistryEntryCreateCFProperty({"/", {}}, "IOOther"));
    EXPECT_FALSE(registry.IORegistryEntryCreateCFProperty({"/", {}}, kIOMACAddress));
    EXPECT_FALSE(registry.IORegistryEntryCreateCFProperty({"/x", "/no/such/device"}, kIOMACAddress));
}

// The kernel's own listing must tell the same.
TEST(IOKit, FindsTheInterfacesThatHaveHardwareBehindThem) {
    std::map<std::string, std::string> expected; // path, address
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net", none)) {
        const auto path = std::filesystem::canonical(entry.path());
        if (path.string().find("/devices/virtual/") == std::string::npos && contentsOf(path / "type") == "1\n")
            expected[path] = contentsOf(path / "address").substr(0, 17);
    }
    const IORegistry& registry = ioRegistry();
    std::vector<IORegistryEntry> all;
    ASSERT_EQ(registry.IOServiceGetMatchingServices(IOMatching{"IOEthernetInterface", {}}, all), KERN_SUCCESS);
    EXPECT_EQ(all.size(), expected.size());
    for (const IORegistryEntry& service : all) {
        EXPECT_EQ(expected.count(service.path), 1u) << service.path;
        IORegistryEntry controller;
        ASSERT_EQ(registry.IORegistryEntryGetParentEntry(service, kIOServicePlane, controller), KERN_SUCCESS);
        EXPECT_TRUE(service.path.starts_with(controller.path)) << controller.path;
        const auto property = registry.IORegistryEntryCreateCFProperty(controller, kIOMACAddress);
        ASSERT_TRUE(property);
        EXPECT_EQ(std::get<Data>(*property).size(), 6u);
    }
    const IOMatching primary = {"IOEthernetInterface", IOPropertyMatch{true}};
    std::vector<IORegistryEntry> one;
    ASSERT_EQ(registry.IOServiceGetMatchingServices(primary, one), KERN_SUCCESS);
    EXPECT_EQ(one.size(), expected.empty() ? 0u : 1u);
}

} // namespace
} // namespace platform
