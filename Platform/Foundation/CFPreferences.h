// The preferences domain of an application: the property list ~/Library/Preferences/<identifier>.plist, read only.
//
// A file that is missing, unreadable, no ordinary file or no property list holds no keys. Main thread only.
#pragma once

#include "NSString.h"

namespace platform {

// Reads the domain afresh, so that what the application has written since is seen. False when there is no such domain.
bool CFPreferencesAppSynchronize(StringView applicationID);

// The key's value in the domain as it was last read (it is read now when it never was). The out-flag, which may be
// null, tells whether the key exists with an integer form; without one the result is 0. Only an integer has one:
// a text, even of digits, a truth value and a real number do not.
[[nodiscard]] long CFPreferencesGetAppIntegerValue(StringView key, StringView applicationID,
                                                   bool* keyExistsAndHasValidFormat);

} // namespace platform
