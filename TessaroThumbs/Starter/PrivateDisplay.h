// The display server that a normal run has to itself, so that its window is mapped and nobody sees it.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace tessaro {

class PrivateDisplay {
public:
    // Starts the server. It prints its number into the pipe whose write end is `numberDescriptor`. Absent, with words on
    // standard error, when there is no server to run.
    [[nodiscard]] static std::optional<PrivateDisplay> start(int numberDescriptor);

    [[nodiscard]] pid_t process() const { return process_; }
    // A descriptor of the file with the secret that clients need, to be inherited by the engine half.
    [[nodiscard]] int authorityDescriptor() const { return authority_; }

    // After the server was killed: removes the lock file that it left behind.
    void removeTraces() const;

private:
    PrivateDisplay(pid_t process, int authority) : process_(process), authority_(authority) {}

    pid_t process_;
    int authority_;
};

} // namespace tessaro
