// Events to applications: quit, and open this address. No answer is awaited. Nothing throws.
#pragma once

#include "ApplicationServices/AppleEvents.h"

namespace brimle {

using platform::AppleEventManager;
using platform::OSStatus;
using platform::OSType;
using platform::StringView;

// Asks the application with that signature to quit. The status of sending; 0 as well when no event could be made.
OSStatus stopOtherApp(OSType signature, const AppleEventManager& events = platform::appleEventManager());

// Hands an address to this application itself, as if it came from elsewhere. The text counts up to a U+0000. The status
// of making or of sending the event, a 16-bit number.
OSStatus OpenURLInRunningApp(StringView url, const AppleEventManager& events = platform::appleEventManager());

} // namespace brimle
