// The display server that a normal run has to itself, so that its window is mapped and nobody sees it.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace tessaro {

class PrivateDisplay {
public:
    // Starts the server. Absent, with words on standard error, when there is no server to run.
    [[nodiscard]] static std::optional<PrivateDisplay> start();

    [[nodiscard]] pid_t process() const { return process_; }
    // The read end of a pipe: the server's number and a line feed come once it accepts connections.
    [[nodiscard]] int numberDescriptor() const { return number_; }
    // A descriptor of the file with the secret that clients need, to be inherited by the engine half.
    [[nodiscard]] int authorityDescriptor() const { return authority_; }

    // Ends the server in the way in which it removes its socket and its lock; returns when it is gone.
    void end() const;

private:
    PrivateDisplay(pid_t process, int number, int authority)
        : process_(process), number_(number), authority_(authority) {}

    pid_t process_;
    int number_;
    int authority_;
};

} // namespace tessaro
