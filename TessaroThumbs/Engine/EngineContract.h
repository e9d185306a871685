// What the starter gives to the engine half besides the arguments: open descriptors under fixed numbers.
#pragma once

namespace tessaro {

inline constexpr int recordDescriptor = 3; // the pipe that takes what is meant for standard output
inline constexpr int displayDescriptor =
    4; // the private display's number is read from here; closed on a user's display
inline constexpr int authorityDescriptor = 5; // the private display's authority file, closed with it

} // namespace tessaro
