#include "Run.h"

#include "Site.h"
#include "TessaroThumbs/ThumbnailRecord.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/ProcessState.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <glob.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace faults {

namespace {

// Empty also when the process that a file below /proc belongs to ends meanwhile, which a bare stream buffer throws for.
std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

constexpr milliseconds step_{5};

// The kernel keeps 15 characters of a program's name.
const std::map<Role, std::string> names = {
    {Role::Starter, "TessaroThumbs"},
    {Role::Custodian, "TessaroThumbs"},
    {Role::Display, "Xvfb"},
    {Role::EngineHalf, "TessaroThumbsEn"},
    {Role::WebProcess, "WebKitWebProces"},
    {Role::NetworkProcess, "WebKitNetworkPr"},
    {Role::SandboxLauncher, "bwrap"},
    {Role::SandboxInside, "bwrap"},
};

std::vector<std::string> matches(const std::string& pattern) {
    std::vector<std::string> found;
    glob_t paths{};
    if (glob(pattern.c_str(), GLOB_NOSORT, nullptr, &paths) == 0)
        found.assign(paths.gl_pathv, paths.gl_pathv + paths.gl_pathc);
    globfree(&paths);
    return found;
}

std::string commandName(pid_t process) {
    const std::string name = contentsOf("/proc/" + std::to_string(process) + "/comm");
    return name.substr(0, name.find('\n'));
}

// A child belongs to the thread that started it.
void addDescendants(pid_t process, std::map<pid_t, std::string>& found) {
    for (const std::string& list : matches("/proc/" + std::to_string(process) + "/task/*/children")) {
        std::ifstream children(list);
        for (pid_t child = 0; children >> child;)
            if (child != Site::shared().process() && found.emplace(child, commandName(child)).second)
                addDescendants(child, found);
    }
}

// The socket files that a display server listens on: the kernel's table has their numbers, the server's descriptors
// too.
std::set<std::string> socketsOf(pid_t server) {
    std::set<std::string> descriptors;
    std::set<std::string> found;
    std::error_code gone;
    for (const std::string& each : matches("/proc/" + std::to_string(server) + "/fd/*"))
        descriptors.insert(std::filesystem::read_symlink(each, gone).string());
    std::istringstream table(contentsOf("/proc/net/unix"));
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string number;
        std::string path;
        for (int column = 0; column < 7; ++column)
            fields >> number;
        if (fields >> path && path.starts_with("/tmp/.X11-unix/") && descriptors.contains("socket:[" + number + "]"))
            found.insert(path);
    }
    return found;
}

} // namespace

void Setup::setPreferences(const std::string& contents) const {
    testing_support::write(home / "Library/Preferences/fi.tessaro.Tessaro.plist", contents);
}

void Setup::logVerbosely() const {
    setPreferences("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                   "<key>VerboseThumbnailLogging</key><integer>1</integer></dict></plist>\n");
}

Run::Run(const std::function<void(Setup&)>& prepare) {
    // Whatever the helper leaves running is adopted by this process: its descendants are the run's processes, whoever
    // else runs the same programs on this machine.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    Setup setup;
    setup.home = home_ / "home";
    std::filesystem::create_directory(setup.home);
    std::filesystem::permissions(home_.path(), std::filesystem::perms::all);
    std::filesystem::permissions(setup.home, std::filesystem::perms::all);
    setup.setURL(Site::shared().url("/plain.html"));
    setup.environment["HOME"] = setup.home;
    for (const char* name : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
        setup.environment[name] = std::nullopt;
    if (prepare)
        prepare(setup);
    Site::shared().forgetBeacons();
    start(setup);
}

void Run::start(const Setup& setup) {
    constexpr int couldNotPrepare = 120;
    const std::string program = setup.programs / "TessaroThumbs";
    std::vector<std::string> words = {program};
    words.insert(words.end(), setup.arguments.begin(), setup.arguments.end());
    std::vector<std::string> lines = testing_support::environmentWith(setup.environment);
    const std::vector<char*> argumentList = testing_support::pointers(words);
    const std::vector<char*> environmentList = testing_support::pointers(lines);
    std::array<int, 2> output{};
    std::array<int, 2> errors{};
    if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(errors.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    started_ = lastOutput_ = Clock::now();
    starter_ = fork();
    if (starter_ == 0) {
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(errors[1], STDERR_FILENO);
        (void)close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC); // what this process was given counts as well
        if (setup.inChild && !setup.inChild())
            _exit(couldNotPrepare);
        execve(program.c_str(), argumentList.data(), environmentList.data());
        _exit(couldNotPrepare);
    }
    close(output[1]);
    close(errors[1]);
    outputEnd_ = output[0];
    errorsEnd_ = errors[0];
    everSeen_.insert(starter_);
}

Run::~Run() {
    for (const int round : {1, 2, 3, 4, 5}) {
        std::map<pid_t, std::string> left;
        addDescendants(getpid(), left);
        for (const auto& [process, name] : left)
            kill(process, SIGKILL);
        for (const auto& [process, name] : left)
            waitpid(process, nullptr, round < 5 ? 0 : WNOHANG);
    }
    closeOutput();
    if (errorsEnd_ >= 0)
        close(errorsEnd_);
}

void Run::closeOutput() {
    readerIsGone_ = true;
    if (outputEnd_ >= 0)
        close(std::exchange(outputEnd_, -1));
    endOfOutput_ = Clock::now();
}

void Run::readFrom(int& descriptor, std::string& text) {
    std::array<char, 65536> piece;
    const ssize_t count = read(descriptor, piece.data(), piece.size());
    if (&descriptor == &outputEnd_)
        (count > 0 ? lastOutput_ : endOfOutput_) = Clock::now();
    constexpr std::size_t moreThanAnyRunHasToSay = std::size_t{256} << 20; // bytes
    if (count > 0 && text.size() < moreThanAnyRunHasToSay)
        text.append(piece.data(), static_cast<std::size_t>(count));
    else if (count > 0)
        return; // a helper that talks without end must not take this machine's memory too
    else if (count == 0 || errno != EINTR)
        close(std::exchange(descriptor, -1));
}

void Run::watchProcesses() {
    int status = 0;
    while (const pid_t ended = waitpid(-1, &status, WNOHANG)) {
        if (ended < 0)
            break;
        if (ended != starter_)
            continue; // adopted
        ended_ = Clock::now();
        starter_ = 0;
        if (WIFEXITED(status))
            status_ = WEXITSTATUS(status);
        else
            signal_ = WTERMSIG(status);
    }
    alive_.clear();
    addDescendants(getpid(), alive_);
    for (const auto& [process, name] : alive_) {
        everSeen_.insert(process);
        if (name == names.at(Role::EngineHalf))
            if (const std::string folder = testing_support::environmentOf(process, "XDG_RUNTIME_DIR"); !folder.empty())
                runtimeFolders_.insert(folder);
    }
    if (displays_.empty() && process(Role::Display) != 0)
        displays_ = socketsOf(process(Role::Display));
}

void Run::step(milliseconds longest) {
    std::array<pollfd, 2> descriptors{};
    descriptors[0] = {reads_ ? outputEnd_ : -1, POLLIN, 0};
    descriptors[1] = {reads_ ? errorsEnd_ : -1, POLLIN, 0};
    poll(descriptors.data(), descriptors.size(), static_cast<int>(std::max(longest, milliseconds(0)).count()));
    if (descriptors[0].revents != 0)
        readFrom(outputEnd_, output_);
    if (descriptors[1].revents != 0)
        readFrom(errorsEnd_, errors_);
    watchProcesses();
}

void Run::wait(milliseconds time) {
    const auto end = Clock::now() + time;
    while (Clock::now() < end)
        step(std::min(step_, std::chrono::duration_cast<milliseconds>(end - Clock::now())));
}

bool Run::waitUntil(const std::function<bool()>& condition, milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (hasEnded() || Clock::now() > deadline)
            return false;
        step(milliseconds(1));
    }
    return true;
}

bool Run::waitFor(Role role) {
    return waitUntil([&] { return process(role) != 0; }, std::chrono::seconds(10));
}

pid_t Run::process(Role role) const {
    if (role == Role::Starter)
        return starter_;
    std::vector<pid_t> found;
    for (const auto& [process, name] : alive_)
        if (name == names.at(role) && process != starter_)
            found.push_back(process);
    if (role == Role::SandboxInside)
        return found.size() < 2 ? 0 : found.back();
    return found.empty() ? 0 : found.front();
}

bool Run::handlesFatalSignals(Role role) const {
    const std::string status = contentsOf("/proc/" + std::to_string(process(role)) + "/status");
    const std::size_t caught = status.find("SigCgt:");
    return caught != std::string::npos &&
           (std::strtoull(status.c_str() + caught + std::strlen("SigCgt:"), nullptr, 16) >> (SIGTRAP - 1) & 1) != 0;
}

bool Run::send(Role role, int signal) {
    const pid_t target = process(role);
    if (target == 0 || kill(target, signal) != 0)
        return false;
    noteFault();
    return true;
}

void Run::finish(milliseconds limit) {
    constexpr milliseconds limitForTheRest{5000};
    const auto deadline = Clock::now() + limit;
    // Without a reader, output has no end to wait for.
    const auto goesOn = [this] { return starter_ != 0 || (reads_ && outputEnd_ >= 0); };
    while (goesOn() && Clock::now() < deadline)
        step(step_);
    timedOut_ = goesOn();
    const auto last = Clock::now() + limitForTheRest;
    for (;;) {
        watchProcesses();
        traces_ = tracesLeft();
        if ((alive_.empty() && traces_.empty()) || Clock::now() > last || timedOut_)
            break;
        poll(nullptr, 0, 1);
    }
    nothingLeft_ = Clock::now();
    for (const auto& [process, name] : alive_)
        stragglers_ += " " + name + " (" + std::to_string(process) + ")";
    while (errorsEnd_ >= 0 && !timedOut_)
        readFrom(errorsEnd_, errors_);
}

std::set<std::string> Run::tracesLeft() const {
    std::set<std::string> found;
    for (const std::string& lock : matches("/tmp/.X*-lock"))
        if (everSeen_.contains(std::atoi(contentsOf(lock).c_str())))
            found.insert(lock);
    for (const std::string& socket : displays_)
        if (std::filesystem::exists(socket) &&
            contentsOf("/proc/net/unix").find(' ' + socket + '\n') == std::string::npos)
            found.insert(socket); // and no other server has taken its number since
    for (const std::string& folder : runtimeFolders_)
        if (std::filesystem::exists(folder))
            found.insert(folder);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home_ / "home")) {
        const std::string name = entry.path().lexically_relative(home_ / "home");
        if (!name.starts_with("Library"))
            found.insert(entry.path());
    }
    return found;
}

std::optional<std::size_t> Run::recordAt() const {
    return tessaro::findThumbnailRecord(platform::charactersAsBytes(output_));
}

std::string Run::complaints(int expectedSignal, milliseconds patience) const {
    std::string text;
    if (timedOut_)
        text += "it did not end in time\n";
    else if (signal_ != expectedSignal || (expectedSignal == 0 && status_ != 0))
        text += "it ended with status " + std::to_string(status_) + ", signal " + std::to_string(signal_) + "\n";
    // A reader that goes away in the midst of a record has half of it.
    if (!readerIsGone_ && !output_.empty() && !hasRecord() && output_.find("| ") == std::string::npos)
        text += "its output, " + std::to_string(output_.size()) + " bytes, is no whole record\n";
    if (!stragglers_.empty())
        text += "it left processes running:" + stragglers_ + "\n";
    for (const std::string& trace : traces_)
        text += "it left " + trace + "\n";
    if (fault_ && untilNothingLeft() > patience)
        text +=
            "it took " + std::to_string(untilNothingLeft().count()) + " ms after the fault until nothing was left\n";
    return text.empty() ? text : text + "standard error: " + errors_ + "\n";
}

milliseconds Run::since(Clock::time_point event) const {
    return std::chrono::duration_cast<milliseconds>(event - fault_.value_or(lastOutput_));
}

milliseconds Run::duration() const {
    return std::chrono::duration_cast<milliseconds>(ended_ - started_);
}

} // namespace faults
