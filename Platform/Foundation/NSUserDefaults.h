// The user-defaults system, as far as this system asks for it: the argument domain.
//
// Stored defaults are not read here (see CFPreferences.h) and nothing is ever written. Main thread only.
#pragma once

#include "NSString.h"

#include <map>
#include <variant>

namespace platform {

inline constexpr StringView NSArgumentDomain = u"NSArgumentDomain";

// What stands on the command line where a property list in its text form was given: something, but not a string.
struct OpaquePropertyList {
    String text;
    friend bool operator==(const OpaquePropertyList&, const OpaquePropertyList&) = default;
};

class VolatileDomain {
public:
    using Object = std::variant<String, OpaquePropertyList>;

    [[nodiscard]] std::optional<Object> objectForKey(StringView key) const;
    // Absent also where the object is no string.
    [[nodiscard]] std::optional<String> stringForKey(StringView key) const;
    [[nodiscard]] std::size_t count() const { return objects_.size(); }

private:
    friend class NSUserDefaults;
    std::map<String, Object, std::less<>> objects_;
};

class NSUserDefaults {
public:
    [[nodiscard]] static NSUserDefaults& standardUserDefaults();

    // The dictionary of that domain; empty for a domain that does not exist.
    [[nodiscard]] VolatileDomain volatileDomainForName(StringView name) const;

    // Called once by the process's entry with what it was given. The words behind the program's name are walked from
    // left to right: a word "-key" followed by a word that does not begin with "-" is a key and its value, any other
    // word is passed over. The last value of a key wins. Bytes are UTF-8, else Latin 1. A value that begins with
    // "(", "{" or "<" is a property list.
    void setArguments(std::span<const char* const> arguments);

private:
    VolatileDomain arguments_;
};

} // namespace platform
