#include "NSDictionary.h"

#include <algorithm>

namespace platform {

std::vector<String> NSDictionary::allKeys() const {
    std::vector<String> keys;
    keys.reserve(entries_.size());
    for (const auto& [key, object] : entries_)
        keys.push_back(key);
    return keys;
}

const NSDictionary::Object* NSDictionary::objectForKey(StringView key) const {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.first == key; });
    return found == entries_.end() ? nullptr : &found->second;
}

std::optional<String> NSDictionary::stringForKey(StringView key) const {
    const Object* object = objectForKey(key);
    const auto* text = object ? std::get_if<String>(object) : nullptr;
    return text ? std::optional<String>(*text) : std::nullopt;
}

std::optional<NSNumber> NSDictionary::numberForKey(StringView key) const {
    const Object* object = objectForKey(key);
    const auto* number = object ? std::get_if<NSNumber>(object) : nullptr;
    return number ? std::optional<NSNumber>(*number) : std::nullopt;
}

void NSDictionary::store(Object object, StringView key) {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry.first == key; });
    if (found == entries_.end())
        entries_.emplace_back(key, std::move(object));
    else
        found->second = std::move(object);
}

} // namespace platform
