#include "brimle/NSMutableDictionary+Brimle.h"

namespace brimle {

void br_setObject_forKey(platform::NSMutableDictionary& dictionary,
                         std::optional<platform::NSDictionary::Object> object, platform::StringView key) {
    if (object)
        dictionary.setObject_forKey(*std::move(object), key);
}

} // namespace brimle
