// The engine's network process, seen from outside: its end is announced by no signal of the engine. Internal to this
// folder.
#pragma once

#include <functional>

namespace platform {

// Calls `ended` from the event loop once when the network process that this process has started is gone. Does nothing
// when there is none yet; returns whether it found one.
bool watchNetworkProcess(std::function<void()> ended);

} // namespace platform
