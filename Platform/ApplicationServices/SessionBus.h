// Calls to applications on the session bus, of which no answer is awaited. One thread at a time.
#pragma once

#include "Foundation/NSString.h"

namespace platform {

struct BusAddress {
    std::string name;
    std::string objectPath;
};

// One call of org.freedesktop.Application.
struct ApplicationCall {
    enum class Method : std::uint8_t { Quit, Open };
    Method method;
    std::string address; // of Open
    [[nodiscard]] static ApplicationCall quit() { return {Method::Quit, {}}; }
    [[nodiscard]] static ApplicationCall open(std::string address) { return {Method::Open, std::move(address)}; }
};

enum class BusOutcome : std::uint8_t {
    Sent,
    NoReceiver, // nobody owns the name; nothing is started for it
    NoBus,      // there is none, or it is of no use
    NoText,     // an address that is not UTF-8
};

// `timeOut` is in sixtieths of a second, -1 for the bus's own and -2 for none; it holds for the bus's answers.
[[nodiscard]] BusOutcome sendOverSessionBus(const BusAddress& receiver, const ApplicationCall& call,
                                            std::int32_t timeOut);

// Where this process's own GApplication answers; absent when it has none on the bus.
[[nodiscard]] std::optional<BusAddress> addressOfDefaultApplication();

} // namespace platform
