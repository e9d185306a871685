#include "WebKit/LoadCompletion.h"

#include <algorithm>

namespace platform {

void LoadCompletion::loadStarted() {
    *this = {};
}

void LoadCompletion::loadCommitted() {
    iconLoads_ = iconLoadsUnderWay_ = 0;
    lastIconArrival_.reset();
}

void LoadCompletion::loadFailed() {
    failed_ = true;
}

void LoadCompletion::loadFinished(Time now) {
    if (!failed_)
        finished_ = now;
}

void LoadCompletion::iconLoadStarted() {
    ++iconLoads_;
    ++iconLoadsUnderWay_;
}

void LoadCompletion::iconLoadEnded(Time now) {
    iconLoadsUnderWay_ = std::max(0, iconLoadsUnderWay_ - 1);
    lastIconLoadEnd_ = now;
}

void LoadCompletion::iconArrived(Time now) {
    lastIconArrival_ = now;
}

LoadCompletion::Time LoadCompletion::iconSettledTime() const {
    if (iconLoadsUnderWay_ > 0)
        return *finished_ + longestWait;
    if (iconLoads_ == 0)
        return *finished_ + iconStartTime;
    // The picture is announced right before or after its load ends.
    if (lastIconArrival_ && *lastIconArrival_ + iconArrivalTime >= lastIconLoadEnd_)
        return *lastIconArrival_;
    return lastIconLoadEnd_ + iconArrivalTime;
}

std::optional<LoadCompletion::Time> LoadCompletion::dueTime() const {
    if (!finished_)
        return std::nullopt;
    return std::min(std::max(*finished_ + settlingTime, iconSettledTime()), *finished_ + longestWait);
}

} // namespace platform
