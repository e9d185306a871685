// Privileged runs with the real polkit: its service, its tool and a system bus that only this test sees. To replace
// /run/dbus and /etc/polkit-1 for oneself and to act as several users takes root and a mount namespace of its own.
// Without these nothing of it can be shown: the program says so and leaves with the status that ctest reports as
// "Skipped" (SKIP_RETURN_CODE). What happens without polkit is among the other tests, which need neither.

#include "brimle/BRAuthorization.h"

#include "../Support/LogFile.h"
#include "../Support/ProcessState.h"

#include <gmock/gmock.h>
#include <pty.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

namespace brimle {
namespace {

using testing_support::contentsOf;
using testing_support::eventually;
using testing_support::inProcessOfItsOwn;
using testing_support::LogFile;
using testing_support::TemporaryFolder;

constexpr uid_t agreed = 65534; // the rule below says yes to this user
constexpr uid_t refused = 2;    // and no to this one
constexpr uid_t undecided = 1;  // whom polkit would ask, but there is nobody to ask
constexpr char rules[] = "polkit.addRule(function(action, subject) {\n"
                         "    if (subject.user == 'nobody') return polkit.Result.YES;\n"
                         "    if (subject.user == 'bin') return polkit.Result.NO;\n"
                         "});\n";

// Without services to activate: polkit is started by the test alone.
constexpr char busConfiguration[] = "<busconfig><type>system</type>"
                                    "<listen>unix:path=/run/dbus/system_bus_socket</listen>"
                                    "<auth>EXTERNAL</auth><policy context='default'><allow user='*'/>"
                                    "<allow send_destination='*'/><allow receive_sender='*'/><allow own='*'/>"
                                    "</policy></busconfig>\n";

pid_t start(std::vector<const char*> words) {
    words.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        execvp(words.front(), const_cast<char* const*>(words.data()));
        _exit(127);
    }
    return pid;
}

// A system bus and polkit of this process's own, until it ends. The process is in a mount namespace of its own.
class PrivatePolkit {
public:
    PrivatePolkit() {
        usable_ = mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  mount("none", "/run", "tmpfs", 0, "mode=755") == 0 &&
                  mount("none", "/etc/polkit-1", "tmpfs", 0, "mode=755") == 0;
        if (!usable_)
            return;
        testing_support::write("/etc/polkit-1/rules.d/10-test.rules", rules);
        for (const char* folder : {"seats", "sessions", "users", "machines"}) // polkit watches who is logged in
            std::filesystem::create_directories(std::filesystem::path("/run/systemd") / folder);
        testing_support::write("/run/dbus/bus.conf", busConfiguration);
        bus_ = start({"dbus-daemon", "--config-file=/run/dbus/bus.conf", "--nofork"});
        usable_ = eventually([] { return std::filesystem::exists("/run/dbus/system_bus_socket"); });
        service_ = start({"/usr/lib/polkit-1/polkitd", "--no-debug"});
        usable_ = usable_ && eventually([] { return inProcessOfItsOwn(answers) == 0; });
    }
    ~PrivatePolkit() {
        for (const pid_t pid : {service_, bus_}) {
            if (pid > 0) {
                kill(pid, SIGTERM);
                waitpid(pid, nullptr, 0);
            }
        }
    }
    PrivatePolkit(const PrivatePolkit&) = delete;
    PrivatePolkit& operator=(const PrivatePolkit&) = delete;

    [[nodiscard]] bool usable() const { return usable_; }

private:
    // In a process of its own: GIO's connection to the bus does not survive a fork.
    static int answers() {
        platform::AuthorizationRef authorization;
        const platform::AuthorizationItem right = {platform::kAuthorizationRightAdmin, {}, 0};
        return platform::authorizationServices().AuthorizationCreate(std::span(&right, 1), {}, 19, authorization) == 0
                   ? 0
                   : 1;
    }

    bool usable_ = false;
    pid_t bus_ = -1;
    pid_t service_ = -1;
};

// Runs the action as that user, away from any terminal; 0 when all that it expects holds.
int asUser(uid_t user, const std::function<int()>& action) {
    return inProcessOfItsOwn([&] {
        setsid();
        setenv("SHELL", "/bin/sh", 1); // the tool wants one of /etc/shells
        if (setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0)
            return 100;
        return action();
    });
}

int commandRunsAsRoot() {
    const TemporaryFolder folder;
    const LogFile log;
    std::filesystem::current_path(folder.path());
    const std::string command = "printf '%s|' \"$(id -u)\" 'a  \"b\"' \"$(pwd)\" > out; chmod a+r out";
    if (!runShellWithAuthorization(u"prompt", platform::stringWithUTF8(command).value()))
        return 1;
    if (contentsOf(folder / "out") != "0|a  \"b\"|" + folder.path().string() + "|")
        return 2;
    if (!log.messages().empty() || !testing_support::children().empty())
        return 3;
    if (runShellWithAuthorization(u"prompt", u"exit 1"))
        return 4;
    using Messages = std::vector<std::string>;
    return log.messages() == Messages{"Failed to run shell command 'exit 1' with authorization, status: 0"} ? 0 : 5;
}

int commandDoesNotRun(int status) {
    const TemporaryFolder folder;
    const LogFile log;
    const std::string command = ": > " + (folder / "out").string();
    if (runShellWithAuthorization(u"prompt", platform::stringWithUTF8(command).value()))
        return 1;
    if (std::filesystem::exists(folder / "out"))
        return 2;
    using Messages = std::vector<std::string>;
    return log.messages() == Messages{"Failed to run shell command '" + command +
                                      "' with authorization, status: " + std::to_string(status)}
               ? 0
               : 3;
}

// On a terminal of its own polkit's tool asks there; what it asked is the output of this.
std::string askedOnATerminal(uid_t user) {
    int terminal = -1;
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid == 0) {
        setenv("SHELL", "/bin/sh", 1);
        if (setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0)
            _exit(100);
        _exit(runShellWithAuthorization(u"Tessaro m\u00F6chte das.", u"true") ? 0 : 1);
    }
    std::string asked;
    char byte = 0;
    // Until it has asked for a password, or has ended.
    while (asked.find("Password:") == std::string::npos && read(terminal, &byte, 1) == 1)
        asked += byte;
    kill(pid, SIGKILL);
    close(terminal); // which ends the tool
    waitpid(pid, nullptr, 0);
    return asked;
}

bool mayReplacePolkit() {
    return geteuid() == 0 && inProcessOfItsOwn([] { return unshare(CLONE_NEWNS) == 0 ? 0 : 1; }) == 0;
}

TEST(BRAuthorization, PolkitDecides) {
    const int result = inProcessOfItsOwn([] {
        if (unshare(CLONE_NEWNS) != 0)
            return 250;
        const PrivatePolkit polkit;
        if (!polkit.usable())
            return 251;
        if (const int code = asUser(agreed, commandRunsAsRoot))
            return 10 + code;
        if (const int code = asUser(0, commandRunsAsRoot))
            return 20 + code;
        if (const int code = asUser(refused, [] { return commandDoesNotRun(platform::errAuthorizationDenied); }))
            return 30 + code;
        if (const int code = asUser(undecided, [] { return commandDoesNotRun(0); }))
            return 40 + code;
        const std::string asked = askedOnATerminal(undecided);
        const std::size_t prompt = asked.find("Tessaro m\xC3\xB6"
                                              "chte das.");
        const std::size_t question = asked.find("AUTHENTICATING");
        if (question == std::string::npos || prompt > question) {
            std::fprintf(stderr, "on the terminal: %s\n", asked.c_str());
            return 50;
        }
        return 0;
    });
    EXPECT_EQ(result, 0) << "250: no namespace; 251: polkit did not start; tens: 1 agreed, 2 root, 3 refused, "
                            "4 nobody to ask, 5 asked on a terminal";
}

} // namespace
} // namespace brimle

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (!brimle::mayReplacePolkit()) {
        std::puts("NOT RUN: privileged runs with the real polkit need root and mount namespaces");
        return NOT_RUN_STATUS;
    }
    return RUN_ALL_TESTS();
}
