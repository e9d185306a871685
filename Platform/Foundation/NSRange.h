// A range of a text: UTF-16 units from location on.
#pragma once

#include <cstddef>

namespace platform {

struct NSRange {
    std::size_t location = 0;
    std::size_t length = 0;
    friend bool operator==(const NSRange&, const NSRange&) = default;
};

} // namespace platform
