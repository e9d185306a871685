// A small dictionary of texts and numbers, in the order in which its keys came. A value; any thread.
#pragma once

#include "NSString.h"

#include <utility>
#include <variant>

namespace platform {

using NSNumber = std::int32_t;

class NSDictionary {
public:
    using Object = std::variant<String, NSNumber>;

    NSDictionary() = default;
    NSDictionary(std::initializer_list<std::pair<String, Object>> entries) {
        for (const auto& [key, object] : entries)
            store(object, key);
    }

    [[nodiscard]] std::size_t count() const { return entries_.size(); }
    [[nodiscard]] std::vector<String> allKeys() const;
    // Null when there is none. It lives until the dictionary is changed.
    [[nodiscard]] const Object* objectForKey(StringView key) const;
    // The value of that key when it is a text (a number).
    [[nodiscard]] std::optional<String> stringForKey(StringView key) const;
    [[nodiscard]] std::optional<NSNumber> numberForKey(StringView key) const;

    friend bool operator==(const NSDictionary&, const NSDictionary&) = default;

protected:
    void store(Object object, StringView key);

private:
    std::vector<std::pair<String, Object>> entries_;
};

class NSMutableDictionary : public NSDictionary {
public:
    using NSDictionary::NSDictionary;

    // Replaces the value of a key that is there, at its place.
    void setObject_forKey(Object object, StringView key) { store(std::move(object), key); }
};

} // namespace platform
