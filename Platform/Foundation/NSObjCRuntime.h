// Classes looked up by name at run time, for facilities that a build of the platform may be without. Main thread only.
#pragma once

#include "NSString.h"

#include <functional>

namespace platform {

// A class found by name: the operations without arguments that it answers, by selector. An operation may throw.
using ClassByName = std::function<void(StringView selector)>;

// Makes a class known; an empty function makes it unknown again.
void registerClass(StringView name, ClassByName performSelector);

// Null when there is no class of that name. The result lives until the name is registered anew.
[[nodiscard]] const ClassByName* NSClassFromString(StringView name);

} // namespace platform
