// One run of the helper under a fault, and everything that it leaves or fails to leave.
#pragma once

#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

namespace faults {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// What is arranged before the helper starts.
struct Setup {
    std::vector<std::string> arguments;
    std::map<std::string, std::optional<std::string>> environment; // absent removes
    std::function<bool()> inChild;                                 // between fork and exec; false: it could not be done
    std::filesystem::path home;                                    // made for this run, HOME unless changed above
    std::filesystem::path programs = PROGRAMS_FOLDER;              // where the helper lies

    void setURL(const std::string& url) { arguments = {"-url", url, "-uuid", "a-run"}; }
    void setPreferences(const std::string& contents) const;
    void logVerbosely() const;
};

// The helper's processes, by the role that they have in it.
enum class Role : unsigned char {
    Starter,
    Custodian,
    Display,
    EngineHalf,
    WebProcess,
    NetworkProcess,
    SandboxLauncher, // outside of it
    SandboxInside    // the first process of its process namespace
};

class Run {
public:
    explicit Run(const std::function<void(Setup&)>& prepare);
    // Kills what is left of the run.
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    // Goes on reading the helper's output and watching its processes meanwhile.
    void wait(milliseconds time);
    // False when the condition did not come about before the helper ended or the limit passed.
    bool waitUntil(const std::function<bool()>& condition, milliseconds limit);
    bool waitFor(Role role);

    void stopReading() { reads_ = false; }
    void goOnReading() { reads_ = true; }
    void closeOutput();                           // the reader goes away
    [[nodiscard]] pid_t process(Role role) const; // 0: there is none
    // Whether the process has come so far that it handles the last of the fatal signals.
    [[nodiscard]] bool handlesFatalSignals(Role role) const;
    // Sends the signal and notes the time as the fault's; false when there is no such process any more.
    bool send(Role role, int signal);
    void noteFault() { fault_ = Clock::now(); }
    [[nodiscard]] bool hasEnded() const { return starter_ == 0; }

    // Reads to the end, waits for the starter and for every process of the run.
    void finish(milliseconds limit);

    // For afterwards. `complaints`: one line a promise that the run broke, whatever its fault was.
    [[nodiscard]] std::string complaints(int expectedSignal, milliseconds patience) const;
    [[nodiscard]] bool hasRecord() const { return recordAt().has_value(); }
    [[nodiscard]] std::optional<std::size_t> recordAt() const;
    [[nodiscard]] const std::string& output() const { return output_; }
    [[nodiscard]] const std::string& errors() const { return errors_; }
    [[nodiscard]] const std::filesystem::path& home() const { return home_.path(); }
    [[nodiscard]] int signal() const { return signal_; }
    // From the fault or, without one, from the last byte of output.
    [[nodiscard]] milliseconds untilEndOfOutput() const { return since(endOfOutput_); }
    [[nodiscard]] milliseconds untilEnd() const { return since(ended_); }
    [[nodiscard]] milliseconds untilNothingLeft() const { return since(nothingLeft_); }
    [[nodiscard]] milliseconds duration() const;

private:
    void start(const Setup& setup);
    void step(milliseconds longest);
    void watchProcesses();
    void readFrom(int& descriptor, std::string& text);
    [[nodiscard]] std::set<std::string> tracesLeft() const;
    [[nodiscard]] milliseconds since(Clock::time_point event) const;

    testing_support::TemporaryFolder home_;
    pid_t starter_ = 0;
    int outputEnd_ = -1;
    int errorsEnd_ = -1;
    bool reads_ = true;
    bool readerIsGone_ = false;
    std::string output_;
    std::string errors_;
    int status_ = -1;
    int signal_ = 0;
    bool timedOut_ = false;
    std::map<pid_t, std::string> alive_; // descendants, zombies of others included, by command name
    std::set<pid_t> everSeen_;
    std::set<std::string> displays_;       // socket files
    std::set<std::string> runtimeFolders_; //
    std::set<std::string> traces_;         // what was left at the end
    std::string stragglers_;               // processes left at the end
    std::optional<Clock::time_point> fault_;
    Clock::time_point started_, lastOutput_, endOfOutput_, ended_, nothingLeft_;
};

} // namespace faults
