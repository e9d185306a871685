// Decides when a page load counts as finished. Knows times and events only, no engine and no clock.
//
// The engine says "finished" when the document and what it links have arrived; the site icon is asked for around that
// moment, a page paints its first frame within a sixtieth of a second, and one that sends the visitor on (location=...,
// meta refresh) begins its next load 3 to 12 ms later. So the finish is reported when
//   - no new load has begun since, and
//   - `settlingTime` has passed, and
//   - no icon load was seen for `iconStartTime`, or every one seen has ended and its own picture arrived (or did not
//     within `iconArrivalTime`, or cannot come),
// and in any case `longestWait` after the engine's word. The times are those of an idle machine: in each of them the
// web process must also have answered `answersAwaited` questions, which a busy machine stretches and an idle one does
// not notice.
#pragma once

#include <chrono>
#include <optional>
#include <vector>

namespace platform {

class LoadCompletion {
public:
    using Time = std::chrono::milliseconds; // since any fixed moment

    static constexpr Time settlingTime{17}; // a frame
    static constexpr Time iconStartTime{60};
    static constexpr Time iconMatchTime{30};    // between an icon load's end and a picture that came before it
    static constexpr Time iconArrivalTime{250}; // of the picture behind that end; 0.2 to 14 ms on an idle machine
    static constexpr Time longestWait{2000};
    static constexpr int answersAwaited = 3;

    void loadStarted();   // a provisional load; everything before it is forgotten
    void loadCommitted(); // icon loads count from here on
    void loadFailed();    // its "finished" does not count
    void loadFinished(Time now);
    void iconLoadStarted();
    void iconLoadEnded(Time now, bool pictureFollows = true); // false: the answer was an error or holds no picture
    void iconArrived(Time now);
    // The web process answered a question that was asked after the latest loadFinished or iconLoadEnded.
    void webProcessAnswered(Time now);
    [[nodiscard]] bool wantsAnswers() const { return finished_ && answers_ < answersAwaited; }

    // When the finish is to be reported, as far as is known now; absent while the load goes on or after it failed.
    [[nodiscard]] std::optional<Time> dueTime() const;

private:
    [[nodiscard]] Time iconSettledTime() const;
    [[nodiscard]] Time waitedOut(Time time) const;

    bool failed_ = false;
    std::optional<Time> finished_;
    int answers_ = 0;
    Time lastAnswer_{};
    int iconLoads_ = 0;
    int iconLoadsUnderWay_ = 0;
    Time lastIconEvent_{};              // an icon load's end or a picture's arrival
    std::vector<Time> picturesAwaited_; // the ends of icon loads whose pictures have not arrived
    std::optional<Time> earlyPicture_;  // one whose load has not ended yet
};

} // namespace platform
