// Whole captures, measured from outside: the helper, the floor, and the headless browsers that are installed.
//
//   capture-bench [rounds]
//
// Starts a display for the floor and the loopback site, then runs every program once a round, in turn, so that a busy
// moment of the machine meets all of them. Wall time is until the program has ended; processor time counts every
// descendant, for which this program adopts orphans and waits until none is left; peak memory is the largest sum of
// what the program's processes have resident (proportional set size), sampled in a run of its own.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Words = std::vector<std::string>;

struct Run {
    double wall = 0;      // milliseconds
    double processor = 0; // milliseconds, all descendants
};

struct Peer {
    std::string name;
    std::function<Words(const std::string& address)> command;
};

pid_t start(const Words& words, int output, const std::string& display) {
    const pid_t child = fork();
    if (child != 0)
        return child;
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDIN_FILENO);
    dup2(output >= 0 ? output : nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    if (!display.empty())
        setenv("DISPLAY", display.c_str(), 1);
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

double processorMilliseconds(const rusage& use) {
    const auto milliseconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return milliseconds(use.ru_utime) + milliseconds(use.ru_stime);
}

// In a child of its own that adopts the program's orphans, so that the servers of this process do not count.
Run measure(const Words& words, const std::string& display) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0)
        std::exit(EXIT_FAILURE);
    const pid_t judge = fork();
    if (judge == 0) {
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        const auto begin = Clock::now();
        const pid_t program = start(words, -1, display);
        waitpid(program, nullptr, 0);
        Run run{std::chrono::duration<double, std::milli>(Clock::now() - begin).count(), 0};
        while (waitpid(-1, nullptr, 0) > 0) {
        }
        rusage use{};
        getrusage(RUSAGE_CHILDREN, &use);
        run.processor = processorMilliseconds(use);
        (void)!write(ends[1], &run, sizeof run);
        _exit(EXIT_SUCCESS);
    }
    Run run;
    (void)!read(ends[0], &run, sizeof run);
    waitpid(judge, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return run;
}

// Kilobytes of a process and of all its descendants.
long residentKilobytes(pid_t process) {
    long sum = 0;
    const std::string folder = "/proc/" + std::to_string(process);
    std::ifstream rollup(folder + "/smaps_rollup");
    for (std::string word; rollup >> word;)
        if (word == "Pss:" && rollup >> sum)
            break;
    std::error_code gone;
    for (const auto& task : std::filesystem::directory_iterator(folder + "/task", gone)) {
        std::ifstream children(task.path() / "children");
        for (pid_t child = 0; children >> child;)
            sum += residentKilobytes(child);
    }
    return sum;
}

double peakMegabytes(const Words& words, const std::string& display) {
    const pid_t program = start(words, -1, display);
    long peak = 0;
    while (waitpid(program, nullptr, WNOHANG) == 0) {
        peak = std::max(peak, residentKilobytes(program));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return static_cast<double>(peak) / 1024;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

struct Figures {
    double wall, fastest, processor;
};

Figures figures(const std::vector<Run>& runs) {
    std::vector<double> wall;
    std::vector<double> processor;
    for (const Run& run : runs) {
        wall.push_back(run.wall);
        processor.push_back(run.processor);
    }
    return {median(wall), *std::min_element(wall.begin(), wall.end()), median(processor)};
}

void compare(const std::string& title, const std::string& address, const std::vector<Peer>& peers, int rounds,
             const std::string& display) {
    std::map<std::string, std::vector<Run>> runs;
    for (const Peer& peer : peers) // once unmeasured: files come into the page cache
        measure(peer.command(address), display);
    for (int round = 0; round < rounds; ++round)
        for (const Peer& peer : peers)
            runs[peer.name].push_back(measure(peer.command(address), display));
    const Figures own = figures(runs[peers.front().name]);
    std::printf("\n%s, %d rounds\n%-26s %9s %9s %9s %9s %12s %12s\n", title.c_str(), rounds, "", "wall ms", "fastest",
                "CPU ms", "peak MB", "helper/wall", "helper/CPU");
    for (const Peer& peer : peers) {
        const Figures each = figures(runs[peer.name]);
        std::printf("%-26s %9.0f %9.0f %9.0f %9.0f %12.2f %12.2f\n", peer.name.c_str(), each.wall, each.fastest,
                    each.processor, peakMegabytes(peer.command(address), display), own.wall / each.wall,
                    own.processor / each.processor);
    }
    std::fflush(stdout);
}

// Captures in a minute with two at a time.
double throughput(const Peer& peer, const std::string& address, int captures, const std::string& display) {
    const auto begin = Clock::now();
    std::atomic<int> next = 0;
    const auto work = [&] {
        while (next++ < captures)
            measure(peer.command(address), display);
    };
    std::thread other(work);
    work();
    other.join();
    return captures / std::chrono::duration<double, std::ratio<60>>(Clock::now() - begin).count();
}

// The first line of what a server prints once it is ready.
std::string readLine(int descriptor) {
    std::string line;
    char character = '\0';
    while (read(descriptor, &character, 1) == 1 && character != '\n')
        line.push_back(character);
    return line;
}

bool isInstalled(const std::string& program) {
    return std::filesystem::exists("/usr/bin/" + program);
}

std::vector<Peer> installedPeers(const std::string& folder) {
    std::vector<Peer> peers = {{"TessaroThumbs",
                                [folder](const std::string& a) {
                                    return Words{folder + "/TessaroThumbs", "-url", a};
                                }},
                               {"minimal WebKitGTK program", [folder](const std::string& a) {
                                    return Words{folder + "/capture-floor", a};
                                }}};
    const std::string picture =
        "--screenshot=" + (std::filesystem::temp_directory_path() / "capture-bench.png").string();
    const auto browser = [picture](const std::string& program, const std::string& headless) {
        return [=](const std::string& a) {
            Words words = {program,
                           "--no-sandbox",
                           "--disable-gpu",
                           "--disable-background-networking",
                           "--window-size=955,730",
                           picture,
                           a};
            if (!headless.empty())
                words.insert(words.begin() + 1, headless);
            return words;
        };
    };
    if (isInstalled("chromium-headless-shell"))
        peers.push_back({"chromium-headless-shell", browser("chromium-headless-shell", "")});
    if (isInstalled("chromium"))
        peers.push_back({"chromium --headless", browser("chromium", "--headless")});
    return peers;
}

} // namespace

int main(int argc, char* argv[]) {
    constexpr int usualRounds = 9;
    const int rounds = argc > 1 ? std::atoi(argv[1]) : usualRounds;
    if (rounds < 1) {
        std::fprintf(stderr, "usage: capture-bench [rounds]\n");
        return EXIT_FAILURE;
    }
    const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    std::array<int, 2> number{};
    std::array<int, 2> site{};
    std::array<int, 2> siteInput{};
    if (pipe(number.data()) != 0 || pipe(site.data()) != 0 || pipe(siteInput.data()) != 0)
        return EXIT_FAILURE;
    const pid_t display = start(
        {"Xvfb", "-displayfd", "1", "-screen", "0", "1440x900x24", "-noreset", "-nolisten", "tcp"}, number[1], "");
    const std::string displayName = ":" + readLine(number[0]);
    const pid_t server = fork();
    if (server == 0) {
        dup2(siteInput[0], STDIN_FILENO);
        dup2(site[1], STDOUT_FILENO);
        execl((folder + "/loopback-site").c_str(), "loopback-site", "--routes", "--folder", SAMPLE_SITE, nullptr);
        _exit(127);
    }
    const std::string ports = readLine(site[0]);
    const std::size_t port = ports.find("\"http\":");
    const std::string base =
        "http://127.0.0.1:" + std::to_string(port == std::string::npos ? 0 : std::atoi(ports.c_str() + port + 7));

    const std::vector<Peer> peers = installedPeers(folder);
    compare("The sample page", base + "/", peers, rounds, displayName);
    compare("A heavy page", base + "/heavy/", peers, rounds, displayName);
    std::printf("\nCaptures a minute of the sample page, two at a time\n");
    const double own = throughput(peers[0], base + "/", 2 * rounds, displayName);
    for (const Peer& peer : peers) {
        const double each = throughput(peer, base + "/", 2 * rounds, displayName);
        std::printf("%-26s %9.0f %12.2f\n", peer.name.c_str(), each, own / each);
    }
    kill(server, SIGTERM);
    kill(display, SIGTERM);
    return EXIT_SUCCESS;
}
