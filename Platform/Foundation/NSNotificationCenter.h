// Broadcasts within the process. Main thread only.
#pragma once

#include "NSString.h"

#include <functional>

namespace platform {

inline constexpr StringView NSApplicationWillTerminateNotification = u"NSApplicationWillTerminateNotification";

struct NSNotification {
    String name;
};

class NSNotificationCenter {
public:
    using Action = std::function<void(const NSNotification&)>;

    [[nodiscard]] static NSNotificationCenter& defaultCenter();

    // `observer` is an identity only and is never dereferenced; it must call removeObserver before it ends.
    void addObserver_name(const void* observer, StringView name, Action action);
    void removeObserver(const void* observer);
    // Calls every action registered for the name, in the order of registration.
    void postNotificationName(StringView name);

private:
    struct Registration {
        const void* observer;
        String name;
        Action action;
    };
    std::vector<Registration> registrations_;
};

} // namespace platform
