#include "NSPropertyList.h"

#include "PropertyListReading.h"

namespace platform {

const PropertyList* PropertyList::objectForKey(StringView key) const {
    const auto* dictionary = std::get_if<Dictionary>(&value);
    if (!dictionary)
        return nullptr;
    for (auto entry = dictionary->rbegin(); entry != dictionary->rend(); ++entry)
        if (entry->key == key)
            return &entry->object;
    return nullptr;
}

std::optional<PropertyList> propertyListWithData(DataView data) {
    if (data.size() > largestPropertyListFile)
        return std::nullopt;
    if (bytesAsCharacters(data).starts_with("bplist0"))
        return readBinaryPropertyList(data);
    return readXMLPropertyList(bytesAsCharacters(data));
}

} // namespace platform
