#include "Site.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <netinet/in.h>
#include <stdexcept>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace faults {
namespace {

bool sendAll(int connection, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void sendPage(int connection, const std::string& status, const std::string& body) {
    sendAll(connection, "HTTP/1.1 " + status + "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
                            std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
}

void sendRedirect(int connection, const std::string& to) {
    sendAll(connection, "HTTP/1.1 302 Found\r\nLocation: " + to + "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
}

void waitForTheOtherEnd(int connection) {
    std::array<char, 64> ignored;
    while (read(connection, ignored.data(), ignored.size()) > 0) {
    }
}

// One header field; `bytes` of it, or as many as the other side takes.
void sendHeader(int connection, std::size_t bytes) {
    const std::string piece(65536, 'a');
    bool goesOn = sendAll(connection, "HTTP/1.1 200 OK\r\nX-Long: ");
    for (std::size_t sent = 0; goesOn && (bytes == 0 || sent < bytes); sent += piece.size())
        goesOn = sendAll(connection, piece);
    if (goesOn)
        sendAll(connection, "\r\nContent-Type: text/html\r\nContent-Length: 5\r\nConnection: close\r\n\r\n<p>ok");
}

// Many small fields in place of one large one.
void sendFields(int connection) {
    std::string piece;
    for (int i = 0; i < 1000; ++i)
        piece += "X-Field-" + std::to_string(i) + ": some value that nobody asked for\r\n";
    bool goesOn = sendAll(connection, "HTTP/1.1 200 OK\r\n");
    while (goesOn)
        goesOn = sendAll(connection, piece);
}

void sendGrowingPage(int connection) {
    constexpr timespec pause{0, 20'000'000};
    bool goesOn = sendAll(connection, "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nConnection: close\r\n\r\n"
                                      "<!doctype html><script>const ask = new XMLHttpRequest();"
                                      "ask.open('GET', '/beacon', false); ask.send();</script>");
    while (goesOn) {
        goesOn = sendAll(connection, "<p>A line more\n");
        nanosleep(&pause, nullptr);
    }
}

void answer(int connection, const std::string& path, int beacons) {
    const std::string_view chain = "/redirects/";
    if (path.starts_with(chain)) {
        const unsigned long left = std::strtoul(path.c_str() + chain.size(), nullptr, 10);
        sendRedirect(connection, left > 0 ? "/redirects/" + std::to_string(left - 1) : "/plain.html");
    } else if (path.starts_with("/beacon")) {
        (void)!write(beacons, "b", 1);
        sendPage(connection, "200 OK", "heard");
    } else if (path == "/never") {
        waitForTheOtherEnd(connection);
    } else if (path == "/grows") {
        sendGrowingPage(connection);
    } else if (path == "/header/large") {
        sendHeader(connection, 100'000'000);
    } else if (path == "/header/endless") {
        sendHeader(connection, 0);
    } else if (path == "/header/many") {
        sendFields(connection);
    } else {
        std::ifstream file(SITE_FOLDER + path, std::ios::binary);
        const std::string body{std::istreambuf_iterator<char>(file), {}};
        sendPage(connection, body.empty() ? "404 Not Found" : "200 OK", body);
    }
}

void serveConnection(int connection, int beacons) {
    std::string request;
    std::array<char, 4096> piece;
    while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = read(connection, piece.data(), piece.size());
        if (count <= 0)
            break;
        request.append(piece.data(), static_cast<std::size_t>(count));
    }
    const std::size_t begin = request.find(' ') + 1;
    const std::string target = request.substr(begin, request.find(' ', begin) - begin);
    if (!target.empty())
        answer(connection, target.substr(0, target.find('?')), beacons);
    close(connection);
}

[[noreturn]] void serve(int listener, int beacons) {
    for (;;) {
        const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection >= 0)
            std::thread(serveConnection, connection, beacons).detach();
    }
}

} // namespace

Site& Site::shared() {
    static Site site;
    return site;
}

Site::Site() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    std::array<int, 2> beacons{};
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        pipe2(beacons.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::runtime_error("the site could not be started");
    port_ = ntohs(address.sin_port);
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(beacons[0]);
        serve(listener, beacons[1]);
    }
    close(listener);
    close(beacons[1]);
    beacons_ = beacons[0];
}

bool Site::heardBeacon() const {
    char heard = 0;
    return read(beacons_, &heard, 1) == 1;
}

void Site::forgetBeacons() const {
    while (heardBeacon()) {
    }
}

} // namespace faults
