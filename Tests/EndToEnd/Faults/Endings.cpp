// Signals: those that end the helper by their default meaning, and the fatal ones, which it turns into status 0.
#include "Fault.h"

#include "Site.h"

#include <csignal>
#include <cstring>

namespace faults {
namespace {

void spin(Setup& setup) {
    setup.setURL(Site::shared().url("/spin.html"));
}

auto sendWhileThePageSpins(Role role, int signal) {
    return [=](Run& run) {
        return run.waitUntil([] { return Site::shared().heardBeacon(); }, std::chrono::seconds(10)) &&
               run.send(role, signal);
    };
}

auto sendAtRandomMoment(Role role, int signal) {
    return [=](Run& run) {
        if (role != Role::Starter && !run.waitFor(role))
            return false;
        run.wait(randomMoment());
        return run.send(role, signal);
    };
}

// Before the starter's first instruction, a signal has its default meaning. The engine half's end is no matter then.
auto sendFatalAtRandomMoment(Role role, int signal) {
    return [=](Run& run) {
        const auto isReady = [&] { return role == Role::EngineHalf || run.handlesFatalSignals(role); };
        return run.waitFor(role) && run.waitUntil(isReady, std::chrono::seconds(10)) &&
               sendAtRandomMoment(role, signal)(run);
    };
}

std::string nameOf(int signal) {
    return std::string("SIG") + sigabbrev_np(signal);
}

} // namespace

std::vector<Fault> endingFaults() {
    std::vector<Fault> faults;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGKILL}) {
        faults.push_back({.name = nameOf(signal) + " to the starter while a page spins",
                          .output = Output::Nothing,
                          .signal = signal,
                          .prepare = spin,
                          .act = sendWhileThePageSpins(Role::Starter, signal)});
        faults.push_back({.name = nameOf(signal) + " to the starter at a random moment",
                          .signal = signal,
                          .act = sendAtRandomMoment(Role::Starter, signal),
                          .times = moments()});
        faults.push_back({.name = nameOf(signal) + " to the engine half while a page spins",
                          .output = Output::Nothing,
                          .prepare = spin,
                          .act = sendWhileThePageSpins(Role::EngineHalf, signal)});
    }
    return faults;
}

std::vector<Fault> fatalSignalFaults() {
    std::vector<Fault> faults;
    for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP}) {
        for (const auto& [role, name] :
             {std::pair{Role::Starter, "starter"}, std::pair{Role::EngineHalf, "engine half"}}) {
            faults.push_back({.name = nameOf(signal) + " to the " + name + " at a random moment",
                              .act = sendFatalAtRandomMoment(role, signal),
                              .times = moments()});
        }
        faults.push_back({.name = nameOf(signal) + " to the engine half while a page spins",
                          .output = Output::Nothing,
                          .prepare = spin,
                          .act = sendWhileThePageSpins(Role::EngineHalf, signal)});
    }
    return faults;
}

} // namespace faults
