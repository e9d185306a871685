// The engine half's environment: the caller's, with what makes a run quiet, private and quick.
#pragma once

#include <string>
#include <vector>

namespace tessaro {

// "NAME=value" texts. With a private display, what belongs to the caller's is left out.
[[nodiscard]] std::vector<std::string> engineEnvironment(bool privateDisplay);

} // namespace tessaro
