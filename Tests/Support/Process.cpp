#include "Process.h"

#include "TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <set>
#include <spawn.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_support {

std::vector<std::string> environmentWith(const std::map<std::string, std::optional<std::string>>& changes) {
    std::vector<std::string> lines;
    for (char** line = environ; *line != nullptr; ++line)
        if (!changes.contains(std::string(*line).substr(0, std::string_view(*line).find('='))))
            lines.emplace_back(*line);
    for (const auto& [name, value] : changes)
        if (value)
            lines.push_back(name + "=" + *value);
    return lines;
}

std::vector<char*> pointers(std::vector<std::string>& words) {
    std::vector<char*> list;
    list.reserve(words.size() + 1);
    for (std::string& word : words)
        list.push_back(word.data());
    list.push_back(nullptr);
    return list;
}

namespace {

struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
    }
};

// The processes that a Process object stands for.
std::set<pid_t>& ownProcesses() {
    static std::set<pid_t> processes;
    return processes;
}

struct ProcessEntry {
    pid_t pid;
    pid_t parent;
    char state;
    std::string command;
};

std::vector<ProcessEntry> processTable() {
    std::vector<ProcessEntry> table;
    std::error_code ignored;
    for (const auto& folder : std::filesystem::directory_iterator("/proc", ignored)) {
        const std::string name = folder.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        // "pid (command) state parent ...", where the command may hold anything.
        const std::string line = contentsOf(folder.path() / "stat");
        const std::size_t begin = line.find('(');
        const std::size_t end = line.rfind(')');
        if (end == std::string::npos || end + 4 > line.size())
            continue; // it has ended meanwhile
        table.push_back({static_cast<pid_t>(std::stol(name)), static_cast<pid_t>(std::stol(line.substr(end + 4))),
                         line[end + 2], line.substr(begin + 1, end - begin - 1)});
    }
    return table;
}

void closeDescriptor(int& descriptor) {
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

} // namespace

Process::Process(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                 const ProcessOptions& options)
    : pending_(options.input) {
    signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::vector<std::string> words = options.wrapper;
    words.push_back(program.string());
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> lines = environmentWith(options.environment);
    Pipe input;
    Pipe output;
    Pipe errors;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors.ends[1], STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    result_.started = result_.lastOutput = Clock::now();
    const int problem =
        posix_spawnp(&pid_, words[0].c_str(), &actions, &attributes, pointers(words).data(), pointers(lines).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    for (int* end : {&input.ends[0], &output.ends[1], &errors.ends[1]})
        closeDescriptor(*end);
    input_ = input.ends[1];
    output_ = output.ends[0];
    errors_ = errors.ends[0];
    if (problem != 0) {
        for (int* end : {&input_, &output_, &errors_})
            closeDescriptor(*end);
        pid_ = -1;
        throw std::runtime_error(words[0] + ": " + std::strerror(problem));
    }
    ownProcesses().insert(pid_);
    if (options.closeOutput)
        closeDescriptor(output_);
    fcntl(input_, F_SETFL, O_NONBLOCK);
    if (pending_.empty() && !options.keepInputOpen)
        closeDescriptor(input_);
}

Process::~Process() {
    if (pid_ > 0) {
        kill(-pid_, SIGKILL);
        kill(pid_, SIGKILL);
        (void)reap(true);
    }
    for (int* end : {&input_, &output_, &errors_})
        closeDescriptor(*end);
}

void Process::sendSignal(int number) const {
    if (pid_ > 0)
        kill(pid_, number);
}

std::string Process::readLine(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (output_ >= 0 && result_.output.find('\n') == std::string::npos && Clock::now() < deadline) {
        pollfd descriptor{output_, POLLIN, 0};
        if (poll(&descriptor, 1, 5) > 0)
            readFrom(output_, result_.output, true);
    }
    const std::size_t end = result_.output.find('\n');
    return end == std::string::npos ? "" : result_.output.substr(0, end);
}

void Process::readFrom(int& descriptor, std::string& text, bool isOutput) {
    std::array<char, 65536> buffer;
    const ssize_t length = read(descriptor, buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR)
        return;
    if (length > 0)
        text.append(buffer.data(), static_cast<std::size_t>(length));
    else
        closeDescriptor(descriptor);
    if (isOutput)
        (length > 0 ? result_.lastOutput : result_.endOfOutput) = Clock::now();
}

bool Process::reap(bool block) {
    int status = 0;
    if (pid_ <= 0 || waitpid(pid_, &status, block ? 0 : WNOHANG) != pid_)
        return pid_ <= 0;
    result_.ended = Clock::now();
    ownProcesses().erase(pid_);
    if (WIFEXITED(status))
        result_.status = WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        result_.signal = WTERMSIG(status);
    pid_ = -1;
    return true;
}

ProcessResult Process::finish(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    const pid_t group = pid_;
    while (!reap(false) || output_ >= 0 || errors_ >= 0) {
        if (Clock::now() > deadline) {
            result_.timedOut = true;
            kill(-group, SIGKILL);
            (void)reap(true);
            result_.status = -1;
            break;
        }
        pollfd descriptors[3] = {{output_, POLLIN, 0}, {errors_, POLLIN, 0}, {input_, POLLOUT, 0}};
        // Streams that have ended leave only the program to wait for, which no descriptor tells.
        poll(descriptors, 3, 5);
        if (descriptors[0].revents != 0)
            readFrom(output_, result_.output, true);
        if (descriptors[1].revents != 0)
            readFrom(errors_, result_.errors, false);
        if (descriptors[2].revents != 0) {
            const ssize_t length = ::write(input_, pending_.data(), pending_.size());
            if (length > 0)
                pending_.erase(0, static_cast<std::size_t>(length));
            if (length < 0 || pending_.empty())
                closeDescriptor(input_);
        }
    }
    return result_;
}

Processes processesWithEnvironment(const std::string& assignment) {
    Processes found;
    for (const ProcessEntry& entry : processTable()) {
        const auto file = std::filesystem::path("/proc") / std::to_string(entry.pid) / "environ";
        const std::string environment = '\0' + contentsOf(file);
        if (environment.find('\0' + assignment + '\0') != std::string::npos)
            found[entry.pid] = entry.command;
    }
    return found;
}

Processes descendantsOf(pid_t ancestor) {
    Processes found;
    const std::vector<ProcessEntry> table = processTable();
    std::vector<pid_t> parents = {ancestor};
    while (!parents.empty()) {
        const pid_t parent = parents.back();
        parents.pop_back();
        for (const ProcessEntry& entry : table)
            if (entry.parent == parent && entry.state != 'Z') {
                found[entry.pid] = entry.command;
                parents.push_back(entry.pid);
            }
    }
    return found;
}

Processes strayProcesses() {
    Processes found;
    for (const ProcessEntry& entry : processTable()) {
        if (entry.parent != getpid() || ownProcesses().contains(entry.pid))
            continue;
        if (entry.state == 'Z')
            waitpid(entry.pid, nullptr, 0);
        else
            found[entry.pid] = entry.command;
    }
    return found;
}

} // namespace testing_support
