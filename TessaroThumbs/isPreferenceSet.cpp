#include "isPreferenceSet.h"

#include "Foundation/CFPreferences.h"

namespace tessaro {

bool isPreferenceSet(platform::StringView key) {
    platform::CFPreferencesAppSynchronize(applicationIdentifier);
    bool valid = true;
    // The flags are 32-bit integers to the main application; what a larger number holds beyond them is no part of one.
    const auto value =
        static_cast<std::int32_t>(platform::CFPreferencesGetAppIntegerValue(key, applicationIdentifier, &valid));
    return valid && value > 0;
}

} // namespace tessaro
