// A server on this machine's loopback interface that answers byte for byte what a test wants, however wrong or slow.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace testing_support {

class RawServer {
public:
    // Called on a thread of the connection's own, once a request; `send` is false when the other side has gone.
    using Send = std::function<bool(std::string_view bytes)>;
    using Answer = std::function<void(const std::string& request, const Send& send)>;

    explicit RawServer(Answer answer);
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    [[nodiscard]] int port() const { return port_; }
    [[nodiscard]] std::u16string url(const std::string& path) const;
    // The requests' heads so far.
    [[nodiscard]] std::vector<std::string> requests() const;

private:
    void acceptConnections();
    void serve(int connection);

    Answer answer_;
    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_ = false;
    mutable std::mutex lock_;
    std::vector<std::string> requests_;
    std::vector<int> connections_;
    std::vector<std::thread> threads_;
    std::thread acceptor_;
};

// A whole answer: status line, length, further header lines (each with its line end), body.
[[nodiscard]] std::string httpAnswer(int status, const std::string& body, const std::string& headers = "");

} // namespace testing_support
