// The icons of a family that have 1, 4 or 8 bits a pixel and 1-bit masks.
#pragma once

#include "Decoders.h"

#include <functional>

namespace platform {

// Those that the family has, deeper ones first. `contentOf` gives an entry by its name, empty when there is none.
[[nodiscard]] Representations decodePaletteIcons(const std::function<DataView(std::string_view)>& contentOf,
                                                 long budget);

} // namespace platform
