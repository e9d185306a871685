// Property lists: typed values in the XML or the binary form.
//
// Reading is all or nothing and safe on bytes of any origin: what is damaged, larger than 16 MiB, nested deeper than
// 100 levels or made of more than 1,000,000 values is absent. Any thread.
#pragma once

#include "NSString.h"

#include <variant>

namespace platform {

struct PropertyListEntry;

// A point of time in seconds since 1 January 2001, 0 h UTC.
struct PropertyListDate {
    double seconds = 0;
    friend bool operator==(const PropertyListDate&, const PropertyListDate&) = default;
};

class PropertyList {
public:
    using Array = std::vector<PropertyList>;
    using Dictionary = std::vector<PropertyListEntry>; // in the order of the file

    // Integers are 64-bit two's complement: the file's larger ones keep their low 64 bits.
    std::variant<bool, std::int64_t, double, String, Data, PropertyListDate, Array, Dictionary> value;

    // The value of that key; the last one when the key stands there more than once. Null when there is none or this
    // is no dictionary. It lives as long as this property list.
    [[nodiscard]] const PropertyList* objectForKey(StringView key) const;
};

struct PropertyListEntry {
    String key;
    PropertyList object;
};

[[nodiscard]] std::optional<PropertyList> propertyListWithData(DataView data);

} // namespace platform
