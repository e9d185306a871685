// The engine half's environment: the caller's, with what makes a run quiet, private and quick.
#pragma once

#include <string>
#include <vector>

namespace tessaro {

// "NAME=value" texts. With a private display, what belongs to the caller's is left out.
// `engineFolder` is where the engine half lies. `runtimeFolder` takes what the engine's sandbox notes down about
// itself; empty means the caller's.
[[nodiscard]] std::vector<std::string> engineEnvironment(bool privateDisplay, const std::string& engineFolder,
                                                         const std::string& runtimeFolder);

} // namespace tessaro
