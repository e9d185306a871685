// The volumes that are mounted. Any thread.
#pragma once

#include "NSString.h"

namespace platform {

class NSWorkspace {
public:
    // A mount table in the kernel's mountinfo format.
    explicit NSWorkspace(std::string mountTable = "/proc/self/mountinfo") : mountTable_(std::move(mountTable)) {}

    // The mount points of local file systems that hold files of users, in the order of the table: no network file
    // systems and none that the kernel makes up (proc, sysfs, ...). The root file system is left out: it is the machine
    // and not a volume, and every path begins with it. Empty when the table cannot be read.
    [[nodiscard]] std::vector<String> mountedLocalVolumePaths() const;

private:
    std::string mountTable_;
};

} // namespace platform
