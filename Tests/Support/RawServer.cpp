#include "Tests/Support/RawServer.h"

#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace testing_support {

RawServer::RawServer(Answer answer) : answer_(std::move(answer)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(listener_, 16) != 0 || getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no server");
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptConnections(); });
}

RawServer::~RawServer() {
    stopping_ = true;
    shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    close(listener_);
    {
        const std::lock_guard guard(lock_);
        for (const int connection : connections_)
            shutdown(connection, SHUT_RDWR);
    }
    for (std::thread& thread : threads_)
        thread.join();
    for (const int connection : connections_)
        close(connection);
}

std::u16string RawServer::url(const std::string& path) const {
    const std::string text = "http://127.0.0.1:" + std::to_string(port_) + path;
    return {text.begin(), text.end()};
}

std::vector<std::string> RawServer::requests() const {
    const std::lock_guard guard(lock_);
    return requests_;
}

void RawServer::acceptConnections() {
    while (!stopping_) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            continue;
        const std::lock_guard guard(lock_);
        connections_.push_back(connection);
        threads_.emplace_back([this, connection] { serve(connection); });
    }
}

void RawServer::serve(int connection) {
    const Send send = [this, connection](std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0 || stopping_)
                return false;
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return !stopping_;
    };
    std::string received;
    char piece[4096];
    for (ssize_t count = 0; (count = read(connection, piece, sizeof piece)) > 0;) {
        received.append(piece, static_cast<std::size_t>(count));
        const std::size_t end = received.find("\r\n\r\n");
        if (end == std::string::npos)
            continue;
        const std::string request = received.substr(0, end + 4);
        received.erase(0, end + 4);
        {
            const std::lock_guard guard(lock_);
            requests_.push_back(request);
        }
        answer_(request, send);
    }
    shutdown(connection, SHUT_RDWR);
}

std::string httpAnswer(int status, const std::string& body, const std::string& headers) {
    return "HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
           headers + "\r\n" + body;
}

} // namespace testing_support
