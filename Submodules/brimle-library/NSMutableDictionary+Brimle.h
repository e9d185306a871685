// Extensions of the mutable dictionary.
#pragma once

#include "Foundation/NSDictionary.h"

namespace brimle {

// Stores the object under the key, replacing what was there. An absent object stores nothing and leaves the entry
// alone.
void br_setObject_forKey(platform::NSMutableDictionary& dictionary,
                         std::optional<platform::NSDictionary::Object> object, platform::StringView key);

} // namespace brimle
