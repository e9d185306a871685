// The display and the processes of the run: missing, refused, killed.
#include "Fault.h"

#include "Site.h"

#include <csignal>
#include <sys/mount.h>

namespace faults {
namespace {

namespace fs = std::filesystem;

constexpr const char* displayServer = "/usr/bin/Xvfb";
constexpr const char* sandbox = "/usr/bin/bwrap";
constexpr const char* busProxy = "/usr/bin/xdg-dbus-proxy";

// A device cannot be run, so it stands for a program that is not there.
auto replaceProgram(const char* program, const char* by) {
    return [=](Setup& setup) { setup.inChild = [=] { return makePrivateMounts() && cover(program, by); }; };
}

// "FOLDER" in the script becomes the run's own folder.
auto replaceDisplayServerByScript(const std::string& script) {
    return [=](Setup& setup) {
        const std::string folder = setup.home.parent_path().string();
        const std::string program = folder + "/server";
        std::string text = script;
        if (const std::size_t at = text.find("FOLDER"); at != std::string::npos)
            text.replace(at, std::string_view("FOLDER").size(), folder);
        testing_support::write(program, text);
        fs::permissions(program, fs::perms::owner_all);
        setup.inChild = [program] { return makePrivateMounts() && cover(displayServer, program.c_str()); };
    };
}

constexpr const char* silentServer = "#!/bin/sh\nexec /bin/sleep 1000\n";
// Dies between the making of its socket and the telling of its number.
constexpr const char* shortLivedServer = R"(#!/usr/bin/python3
import os, signal, socket, sys
server = socket.socket(socket.AF_UNIX)
server.bind("/tmp/.X11-unix/X" + sys.argv[1][1:])
server.listen()
open("FOLDER/number", "w").write(sys.argv[1][1:])
os.kill(os.getpid(), signal.SIGKILL)
)";

std::string leftNoSocketOfTheShortLivedServer(const Run& run) {
    const std::string number = testing_support::contentsOf(run.home() / "number");
    if (number.empty())
        return "the server was not started";
    return fs::exists("/tmp/.X11-unix/X" + number) ? "it left the socket of display " + number : "";
}

// What comes before the page and its display is done all the same.
std::string logsItsLaunch(const Run& run) {
    const std::string log = testing_support::contentsOf(run.home() / "home/Library/Logs/Tessaro/TessaroThumbs.log");
    return log.find("| Starting TessaroThumbs ") != std::string::npos ? "" : "the log has no launch: " + log;
}

auto refuseSandbox(bool switchedOff) {
    return [=](Setup& setup) {
        setup.inChild = [] { return makePrivateMounts() && cover(sandbox, "/bin/false"); };
        if (switchedOff)
            setup.environment["WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS"] = "1";
    };
}

auto mountOnTemporaryFolder(unsigned long flags, const char* options) {
    return [=](Setup& setup) {
        // The run's own folder stays where it is.
        setup.inChild = [=, home = setup.home.string()] {
            (void)home;
            return makePrivateMounts() && mount("none", "/tmp", "tmpfs", flags, options) == 0;
        };
        setup.environment["HOME"] = "/nonexistent";
    };
}

// Which way is out must be said where the refusal is.
std::string namesTheWayOut(const Run& run) {
    return run.errors().find("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS=1") != std::string::npos
               ? ""
               : "standard error does not name the way out: " + run.errors();
}

auto sendSoonAfterStart(Role role, int signal) {
    return [=](Run& run) {
        if (!run.waitFor(role))
            return false;
        run.wait(randomMoment());
        return run.send(role, signal);
    };
}

// On a page that never ends its load, so that the process is certainly there.
void loadForEver(Setup& setup) {
    setup.setURL(Site::shared().url("/grows"));
}

auto sendDuringLoad(Role role, int signal) {
    return [=](Run& run) {
        return run.waitUntil([] { return Site::shared().heardBeacon(); }, std::chrono::seconds(10)) &&
               run.send(role, signal);
    };
}

void addKills(std::vector<Fault>& faults, const std::string& name, Role role, int signal, const std::string& how) {
    faults.push_back({.name = name + " " + how + " at a random moment",
                      .act = sendSoonAfterStart(role, signal),
                      .times = moments()});
    faults.push_back({.name = name + " " + how + " during a load",
                      .output = Output::Nothing,
                      .prepare = loadForEver,
                      .act = sendDuringLoad(role, signal)});
}

} // namespace

std::vector<Fault> processFaults() {
    std::vector<Fault> faults = {
        {.name = "no display server",
         .output = Output::Nothing,
         .prepare =
             [](Setup& setup) {
                 replaceProgram(displayServer, "/dev/null")(setup);
                 setup.logVerbosely();
             },
         .check = logsItsLaunch},
        {.name = "display server ends at once",
         .output = Output::Nothing,
         .prepare = replaceProgram(displayServer, "/bin/false")},
        {.name = "display server neither comes up nor ends", // 10 seconds are waited for it
         .output = Output::Nothing,
         .prepare = replaceDisplayServerByScript(silentServer),
         .limit = std::chrono::seconds(13)},
        {.name = "display server killed before it told its number",
         .output = Output::Nothing,
         .prepare = replaceDisplayServerByScript(shortLivedServer),
         .check = leftNoSocketOfTheShortLivedServer},
        {.name = "no temporary folder to write to",
         .output = Output::Nothing,
         .prepare = mountOnTemporaryFolder(MS_RDONLY, "")},
        {.name = "temporary folder full",
         .output = Output::Nothing,
         .prepare = mountOnTemporaryFolder(0, "size=4k,nr_inodes=2")},
        {.name = "sandbox missing",
         .output = Output::Nothing,
         .prepare = replaceProgram(sandbox, "/dev/null"),
         .check = namesTheWayOut},
        {.name = "sandbox refused",
         .output = Output::Nothing,
         .prepare = refuseSandbox(false),
         .check = namesTheWayOut},
        {.name = "sandbox refused and switched off", .output = Output::Record, .prepare = refuseSandbox(true)},
        {.name = "bus proxy missing",
         .output = Output::RecordOrNothing,
         .prepare = replaceProgram(busProxy, "/dev/null")},
    };
    addKills(faults, "display", Role::Display, SIGKILL, "killed");
    addKills(faults, "display", Role::Display, SIGTERM, "ended");
    addKills(faults, "web process", Role::WebProcess, SIGKILL, "killed");
    addKills(faults, "web process", Role::WebProcess, SIGABRT, "crashed");
    addKills(faults, "network process", Role::NetworkProcess, SIGKILL, "killed");
    addKills(faults, "sandbox's first process", Role::SandboxInside, SIGKILL, "killed");
    // The engine goes on without it, so a load without end would not end.
    faults.push_back({.name = "sandbox's launcher killed at a random moment",
                      .act = sendSoonAfterStart(Role::SandboxLauncher, SIGKILL),
                      .times = moments()});
    addKills(faults, "custodian", Role::Custodian, SIGKILL, "killed");
    addKills(faults, "custodian", Role::Custodian, SIGSEGV, "crashed");
    addKills(faults, "engine half", Role::EngineHalf, SIGKILL, "killed");
    return faults;
}

} // namespace faults
