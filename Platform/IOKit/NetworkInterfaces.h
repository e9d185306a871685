// The network devices that have hardware behind them. Any thread.
#pragma once

#include "Foundation/NSString.h"

namespace platform {

struct NetworkInterface {
    std::string path;       // of the interface in the device tree
    std::string controller; // of the device behind it
    bool isWireless = false;
    bool isOnUSB = false;
    int index = 0; // the kernel's number, in the order of discovery
};

// Absent when the devices cannot be listed. In the order of their numbers.
[[nodiscard]] std::optional<std::vector<NetworkInterface>> networkInterfaces();

// Null when there is none.
[[nodiscard]] const NetworkInterface* primaryInterface(std::span<const NetworkInterface> interfaces);

// The address that the interface was made with, else the one that it has; absent when there is no such interface.
[[nodiscard]] std::optional<Data> hardwareAddress(const std::string& interfacePath);

// "aa:bb:cc:dd:ee:ff" as bytes; absent for other text.
[[nodiscard]] std::optional<Data> addressFromText(std::string_view text);

} // namespace platform
