#include "NetworkInterfaces.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <libudev.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <memory>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <tuple>
#include <unistd.h>

namespace platform {
namespace {

constexpr std::size_t addressBytes = 6;

struct Unref {
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_enumerate* list) const { udev_enumerate_unref(list); }
    void operator()(udev_device* device) const { udev_device_unref(device); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

std::string attribute(udev_device* device, const char* name) {
    const char* value = udev_device_get_sysattr_value(device, name);
    return value ? value : "";
}

int number(const std::string& text) {
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// Absent when the device is no Ethernet interface with hardware behind it.
std::optional<NetworkInterface> interfaceOf(udev_device* device) {
    // Belongs to `device`. Bridges, tunnels and the loop have none.
    udev_device* controller = udev_device_get_parent(device);
    if (!controller || number(attribute(device, "type")) != ARPHRD_ETHER)
        return std::nullopt;
    const char* kind = udev_device_get_devtype(device);
    NetworkInterface made;
    made.path = udev_device_get_syspath(device);
    made.controller = udev_device_get_syspath(controller);
    made.isWireless = kind && std::string_view(kind) == "wlan";
    made.isOnUSB = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device") != nullptr;
    made.index = number(attribute(device, "ifindex"));
    return made;
}

std::optional<Data> permanentAddress(const std::string& name) {
    struct { // ethtool_perm_addr with room behind it
        std::uint32_t command = ETHTOOL_GPERMADDR;
        std::uint32_t size = sizeof(room);
        std::uint8_t room[32] = {};
    } answer;
    ifreq question = {};
    if (name.size() >= sizeof(question.ifr_name))
        return std::nullopt;
    name.copy(question.ifr_name, sizeof(question.ifr_name) - 1);
    question.ifr_data = reinterpret_cast<char*>(&answer);
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (any == -1)
        return std::nullopt;
    const bool answered = ioctl(any, SIOCETHTOOL, &question) == 0 && answer.size == addressBytes;
    close(any);
    const Data address(answer.room, answer.room + addressBytes);
    const bool isSet = std::any_of(address.begin(), address.end(), [](std::uint8_t byte) { return byte != 0; });
    return answered && isSet ? std::optional<Data>(address) : std::nullopt;
}

} // namespace

std::optional<std::vector<NetworkInterface>> networkInterfaces() {
    const Owned<udev> context(udev_new());
    const Owned<udev_enumerate> list(context ? udev_enumerate_new(context.get()) : nullptr);
    if (!list || udev_enumerate_add_match_subsystem(list.get(), "net") < 0 ||
        udev_enumerate_scan_devices(list.get()) < 0)
        return std::nullopt;
    std::vector<NetworkInterface> found;
    for (auto* entry = udev_enumerate_get_list_entry(list.get()); entry; entry = udev_list_entry_get_next(entry)) {
        const Owned<udev_device> device(udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        if (!device)
            continue; // it has just gone
        if (auto made = interfaceOf(device.get()))
            found.push_back(*std::move(made));
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.index < b.index; });
    return found;
}

const NetworkInterface* primaryInterface(std::span<const NetworkInterface> interfaces) {
    // What is plugged in comes and goes, a cable's interface is the machine's own before its radio.
    const auto rank = [](const NetworkInterface& candidate) {
        return std::tuple(candidate.isOnUSB, candidate.isWireless, candidate.index);
    };
    const auto first = std::min_element(interfaces.begin(), interfaces.end(),
                                        [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
    return first == interfaces.end() ? nullptr : &*first;
}

std::optional<Data> hardwareAddress(const std::string& interfacePath) {
    const Owned<udev> context(udev_new());
    const Owned<udev_device> device(context ? udev_device_new_from_syspath(context.get(), interfacePath.c_str())
                                            : nullptr);
    if (!device)
        return std::nullopt;
    // Networks may be shown another address than the hardware's own, a new one each time.
    if (auto address = permanentAddress(udev_device_get_sysname(device.get())))
        return address;
    return addressFromText(attribute(device.get(), "address"));
}

std::optional<Data> addressFromText(std::string_view text) {
    Data address;
    constexpr int hexadecimal = 16;
    for (std::size_t at = 0; at < text.size(); at += 3) {
        std::uint8_t byte = 0;
        const std::string_view digits = text.substr(at, 2);
        const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), byte, hexadecimal);
        if (parsed.ec != std::errc() || parsed.ptr != text.data() + at + 2)
            return std::nullopt;
        if (at + 2 < text.size() && (text[at + 2] != ':' || at + 3 == text.size()))
            return std::nullopt;
        address.push_back(byte);
    }
    return address.size() == addressBytes ? std::optional<Data>(address) : std::nullopt;
}

} // namespace platform
