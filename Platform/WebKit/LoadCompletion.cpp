#include "WebKit/LoadCompletion.h"

#include <algorithm>

namespace platform {

void LoadCompletion::loadStarted() {
    *this = {};
}

void LoadCompletion::loadCommitted() {
    iconLoads_ = iconLoadsUnderWay_ = 0;
    picturesAwaited_.clear();
    earlyPicture_.reset();
}

void LoadCompletion::loadFailed() {
    failed_ = true;
}

void LoadCompletion::loadFinished(Time now) {
    if (!failed_)
        finished_ = now;
    answers_ = 0;
}

void LoadCompletion::iconLoadStarted() {
    ++iconLoads_;
    ++iconLoadsUnderWay_;
}

void LoadCompletion::iconLoadEnded(Time now, bool pictureFollows) {
    if (iconLoadsUnderWay_ == 0)
        return; // begun before the commit
    --iconLoadsUnderWay_;
    lastIconEvent_ = now;
    answers_ = 0;
    if (pictureFollows && (!earlyPicture_ || *earlyPicture_ + iconMatchTime < now))
        picturesAwaited_.push_back(now);
    earlyPicture_.reset();
}

// The picture is announced right before or after its load ends: it belongs to the load that ended last.
void LoadCompletion::iconArrived(Time now) {
    lastIconEvent_ = now;
    if (picturesAwaited_.empty())
        earlyPicture_ = now;
    else
        picturesAwaited_.pop_back();
}

void LoadCompletion::webProcessAnswered(Time now) {
    ++answers_;
    lastAnswer_ = now;
}

LoadCompletion::Time LoadCompletion::waitedOut(Time time) const {
    return answers_ < answersAwaited ? *finished_ + longestWait : std::max(time, lastAnswer_);
}

LoadCompletion::Time LoadCompletion::iconSettledTime() const {
    if (iconLoadsUnderWay_ > 0)
        return *finished_ + longestWait;
    if (iconLoads_ == 0)
        return waitedOut(*finished_ + iconStartTime);
    return picturesAwaited_.empty() ? lastIconEvent_
                                    : std::max(lastIconEvent_, waitedOut(picturesAwaited_.back() + iconArrivalTime));
}

std::optional<LoadCompletion::Time> LoadCompletion::dueTime() const {
    if (!finished_)
        return std::nullopt;
    return std::min(std::max(waitedOut(*finished_ + settlingTime), iconSettledTime()), *finished_ + longestWait);
}

} // namespace platform
