// The page that benchmarks call heavy.
#pragma once

#include <string>

namespace loopback_site {

// 300 elements with text, twelve pictures (/pictures/01.jpg to 12.jpg), a web font (/fonts/web.ttf), and scripts that
// sort and lay out what is there before the load ends.
[[nodiscard]] std::string heavyPage();

} // namespace loopback_site
