#include "NSNotificationCenter.h"

#include <algorithm>

namespace platform {

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
    // Never destroyed: an observer may remove itself in an exit handler.
    static auto* center = new NSNotificationCenter;
    return *center;
}

void NSNotificationCenter::addObserver_name(const void* observer, StringView name, Action action) {
    registrations_.push_back({observer, String(name), std::move(action)});
}

void NSNotificationCenter::removeObserver(const void* observer) {
    std::erase_if(registrations_, [observer](const Registration& r) { return r.observer == observer; });
}

void NSNotificationCenter::postNotificationName(StringView name) {
    const NSNotification notification{String(name)};
    const std::vector<Registration> snapshot = registrations_; // an action may add or remove observers
    for (const Registration& registration : snapshot)
        if (registration.name == name)
            registration.action(notification);
}

} // namespace platform
