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
    // The read end of a pipe, to be inherited by the engine half: the server's number and a line feed come once it
    // accepts connections, by way of passNumberOn.
    [[nodiscard]] int numberDescriptor() const { return number_; }
    // Becomes readable when the server has something for passNumberOn; -1 when it has told everything.
    [[nodiscard]] int serverDescriptor() const { return server_; }
    // Passes it on.
    void passNumberOn();
    // A descriptor of the file with the secret that clients need, to be inherited by the engine half.
    [[nodiscard]] int authorityDescriptor() const { return authority_; }

    // Ends the server in the way in which it removes its socket; returns when both are gone.
    void end() const;

private:
    PrivateDisplay(pid_t process, int server, int number, int numberWriter, int authority, std::string socketPath)
        : process_(process), server_(server), number_(number), numberWriter_(numberWriter), authority_(authority),
          socketPath_(std::move(socketPath)) {}

    pid_t process_;
    int server_;
    int number_;
    int numberWriter_;
    int authority_;
    std::string socketPath_;
};

} // namespace tessaro
