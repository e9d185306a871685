// Where random bytes come from: the system's random device. Copy it, replace a member and hand it in to have others.
#pragma once

#include "Foundation/NSString.h"

#include <functional>
#include <sys/types.h>

namespace brimle {

struct RandomDevice {
    std::function<int()> open; // a descriptor, which the caller closes, or -1
    std::function<ssize_t(int descriptor, void* buffer, std::size_t length)> read;
};

// "/dev/urandom".
[[nodiscard]] const RandomDevice& systemRandomDevice();

} // namespace brimle
