// A site of the tests' own that answers as no honest server does: headers without end, pages that never end.
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>

namespace faults {

// A child process, so that the tests' own process has no threads and may fork; it ends with them.
class Site {
public:
    [[nodiscard]] static Site& shared();

    [[nodiscard]] std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    [[nodiscard]] pid_t process() const { return process_; }

    // True once a page has asked for "/beacon", which it does when its script runs; forgets it.
    [[nodiscard]] bool heardBeacon() const;
    void forgetBeacons() const;

private:
    Site();
    pid_t process_ = -1;
    unsigned port_ = 0;
    int beacons_ = -1;
};

} // namespace faults
