// Runs helpers for a list of addresses: so many at once, each for so long, and survives those that hang or fail.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace picture_wall {

struct QueueOptions {
    std::string helper;                // the program, by path or by name
    std::size_t atOnce = 2;            // helpers that run at the same time
    std::chrono::seconds patience{30}; // for one address; then its helper is ended
};

enum class Outcome : std::uint8_t { Finished, TookTooLong, DidNotStart };

struct Capture {
    std::string address;
    Outcome outcome = Outcome::Finished;
    std::vector<std::uint8_t> output; // what the helper wrote: a record, or nothing when the page could not be captured
};

// Calls `finished` from this thread with each capture as it ends, in whatever order that is; returns after the last
// one.
void captureAll(const std::vector<std::string>& addresses, const QueueOptions& options,
                const std::function<void(const Capture&)>& finished);

} // namespace picture_wall
