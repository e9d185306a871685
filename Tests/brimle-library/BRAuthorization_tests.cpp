#include "brimle/BRAuthorization.h"

#include "../Support/LogFile.h"
#include "../Support/ProcessState.h"

#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>

namespace brimle {
namespace {

using platform::AuthorizationFlags;
using platform::AuthorizationItem;
using platform::AuthorizationRef;
using platform::OSStatus;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::contentsOf;
using testing_support::EnvironmentVariable;
using testing_support::LogFile;
using testing_support::TemporaryFolder;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "(none)";
}

bool childExitIsDefault() {
    struct sigaction action {};
    sigaction(SIGCHLD, nullptr, &action);
    return action.sa_handler == SIG_DFL;
}

void onChildExit(int) {}

// Stands in for polkit: runs the shell without other rights, and remembers what it saw. Everything else is real unless
// the test replaces it.
struct Authorizer {
    OSStatus createStatus = 0;
    OSStatus runStatus = 0;
    int probesThatFail = 0;

    std::vector<std::string> calls;
    std::vector<AuthorizationItem> rights;
    std::vector<AuthorizationItem> environment;
    AuthorizationFlags createFlags = 0;
    std::string tool;
    std::vector<std::string> arguments;
    std::string pathSeen;
    std::string temporaryFolderSeen;
    bool childExitWasDefault = false;
    std::vector<std::string> probedIn;

    PrivilegedRun run() {
        PrivilegedRun made = privilegedRun();
        made.authorization.AuthorizationCreate = [this](std::span<const AuthorizationItem> askedRights,
                                                        std::span<const AuthorizationItem> askedEnvironment,
                                                        AuthorizationFlags flags, AuthorizationRef& authorization) {
            calls.emplace_back("create");
            rights.assign(askedRights.begin(), askedRights.end());
            environment.assign(askedEnvironment.begin(), askedEnvironment.end());
            createFlags = flags;
            authorization = std::make_shared<const platform::Authorization>();
            return createStatus;
        };
        made.authorization.AuthorizationExecuteWithPrivileges = [this](const AuthorizationRef& authorization,
                                                                       const char* path, AuthorizationFlags flags,
                                                                       std::span<const std::string> words) {
            calls.emplace_back(authorization && flags == 0 ? "execute" : "execute wrongly");
            tool = path;
            arguments.assign(words.begin(), words.end());
            pathSeen = variable("PATH");
            temporaryFolderSeen = variable("TMPDIR");
            childExitWasDefault = childExitIsDefault();
            if (runStatus == 0)
                start();
            return runStatus;
        };
        made.authorization.AuthorizationFree = [this](AuthorizationRef& authorization, AuthorizationFlags flags) {
            calls.emplace_back(flags == 0 ? "free" : "free wrongly");
            authorization.reset();
            return OSStatus{0};
        };
        made.tmpfile = [this]() -> std::FILE* {
            probedIn.push_back(variable("TMPDIR"));
            return static_cast<int>(probedIn.size()) <= probesThatFail ? nullptr : stdin;
        };
        made.NSTemporaryDirectory = [] { return String(u"/temporary"); };
        made.NSHomeDirectory = [] { return String(u"/home"); };
        return made;
    }

private:
    void start() const {
        if (fork() == 0) {
            execl(tool.c_str(), tool.c_str(), arguments.at(0).c_str(), arguments.at(1).c_str(), nullptr);
            _exit(127);
        }
    }
};

TEST(BRAuthorization, AsksForTheRightWithThePrompt) {
    Authorizer authorizer;
    const LogFile log;
    EXPECT_TRUE(runShellWithAuthorization(u"M\u00F6chten Sie?", u"true", authorizer.run()));
    EXPECT_THAT(authorizer.rights, ElementsAre(AuthorizationItem{"system.privilege.admin", "", 0}));
    EXPECT_THAT(authorizer.environment, ElementsAre(AuthorizationItem{"prompt",
                                                                      "M\xC3\xB6"
                                                                      "chten Sie?",
                                                                      0}));
    EXPECT_EQ(authorizer.createFlags, 19u);
    EXPECT_THAT(authorizer.calls, ElementsAre("create", "execute", "free"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(BRAuthorization, TheCommandIsOneArgumentOfTheShell) {
    const TemporaryFolder folder;
    Authorizer authorizer;
    const LogFile log;
    const std::string command =
        "printf '%s|' \"$0\" 'a  b' \"$(echo '\"x\"')\" \xC3\xA9 > " + (folder / "out").string();
    EXPECT_TRUE(runShellWithAuthorization(u"", platform::stringWithUTF8(command).value(), authorizer.run()));
    EXPECT_EQ(authorizer.tool, "/bin/sh");
    EXPECT_THAT(authorizer.arguments, ElementsAre("-c", command));
    EXPECT_EQ(contentsOf(folder / "out"), "/bin/sh|a  b|\"x\"|\xC3\xA9|");
}

struct OutcomeCase {
    const char* what;
    const char16_t* command;
    OSStatus create;
    OSStatus run;
    bool result;
    const char* message;
    std::vector<std::string> calls;
};

TEST(BRAuthorization, OnlyAnExitWithZeroIsASuccess) {
    const OutcomeCase rows[] = {
        {"success", u"exit 0", 0, 0, true, nullptr, {"create", "execute", "free"}},
        {"exit 1",
         u"exit 1",
         0,
         0,
         false,
         "Failed to run shell command 'exit 1' with authorization, status: 0",
         {"create", "execute", "free"}},
        {"exit 255",
         u"exit 255",
         0,
         0,
         false,
         "Failed to run shell command 'exit 255' with authorization, status: 0",
         {"create", "execute", "free"}},
        {"a signal",
         u"kill -9 $$",
         0,
         0,
         false,
         "Failed to run shell command 'kill -9 $$' with authorization, status: 0",
         {"create", "execute", "free"}},
        {"declined",
         u"%@ %d",
         -60006,
         0,
         false,
         "Failed to run shell command '%@ %d' with authorization, status: -60006",
         {"create"}},
        {"not started",
         u"true",
         0,
         -60031,
         false,
         "Failed to run shell command 'true' with authorization, status: -60031",
         {"create", "execute", "free"}},
    };
    for (const OutcomeCase& row : rows) {
        Authorizer authorizer;
        authorizer.createStatus = row.create;
        authorizer.runStatus = row.run;
        const LogFile log;
        EXPECT_EQ(runShellWithAuthorization(u"prompt", row.command, authorizer.run()), row.result) << row.what;
        EXPECT_EQ(authorizer.calls, row.calls) << row.what;
        if (row.message) {
            EXPECT_THAT(log.messages(), ElementsAre(row.message)) << row.what;
        } else {
            EXPECT_THAT(log.messages(), IsEmpty()) << row.what;
        }
    }
    EXPECT_TRUE(testing_support::children().empty());
}

TEST(BRAuthorization, AWaitThatFailsIsAFailure) {
    Authorizer authorizer;
    PrivilegedRun run = authorizer.run();
    run.wait = [](int* status) {
        *status = 0;
        ::wait(nullptr);
        return pid_t{-1};
    };
    const LogFile log;
    EXPECT_FALSE(runShellWithAuthorization(u"", u"true", run));
    EXPECT_THAT(log.messages(), ElementsAre("Failed to run shell command 'true' with authorization, status: 0"));
}

TEST(BRAuthorization, TheChildThatEndsFirstIsTakenForTheCommand) {
    Authorizer authorizer;
    const LogFile log;
    const pid_t other = fork();
    if (other == 0)
        _exit(3);
    siginfo_t ended;
    waitid(P_PID, static_cast<id_t>(other), &ended, WEXITED | WNOWAIT); // it has ended but is not collected
    EXPECT_FALSE(runShellWithAuthorization(u"", u"exit 0", authorizer.run()));
    EXPECT_NE(::wait(nullptr), other) << "the command itself is left";
}

TEST(BRAuthorization, ThePathIsTheSystemsWhileItRuns) {
    Authorizer authorizer;
    const LogFile log;
    {
        const EnvironmentVariable path("PATH", "/somewhere:/else");
        EXPECT_TRUE(runShellWithAuthorization(u"", u"test $PATH = /bin:/usr/bin", authorizer.run()));
        EXPECT_EQ(authorizer.pathSeen, "/bin:/usr/bin");
        EXPECT_EQ(variable("PATH"), "/somewhere:/else");
        authorizer.createStatus = -1;
        EXPECT_FALSE(runShellWithAuthorization(u"", u"true", authorizer.run()));
        EXPECT_EQ(variable("PATH"), "/somewhere:/else");
        authorizer.createStatus = 0;
        authorizer.runStatus = -1;
        EXPECT_FALSE(runShellWithAuthorization(u"", u"true", authorizer.run()));
        EXPECT_EQ(variable("PATH"), "/somewhere:/else");
    }
    const EnvironmentVariable none("PATH", nullptr);
    EXPECT_FALSE(runShellWithAuthorization(u"", u"true", authorizer.run()));
    EXPECT_EQ(variable("PATH"), "/bin:/usr/bin") << "without a value before it stays";
}

TEST(BRAuthorization, APathThatCannotBeSetEndsTheRunAsItStands) {
    Authorizer authorizer;
    PrivilegedRun run = authorizer.run();
    run.setenv = [](const char*, const char*, int) {
        errno = ENOMEM;
        return -1;
    };
    struct sigaction former {};
    struct sigaction handler {};
    handler.sa_handler = onChildExit;
    sigaction(SIGCHLD, &handler, &former);
    const LogFile log;
    EXPECT_FALSE(runShellWithAuthorization(u"", u"true", run));
    EXPECT_TRUE(childExitIsDefault()) << "not put back";
    sigaction(SIGCHLD, &former, nullptr);
    EXPECT_THAT(authorizer.calls, ElementsAre("create")) << "not freed, not run";
    EXPECT_THAT(log.messages(), ElementsAre("Failed to set PATH=/bin:/usr/bin with errno: 12"));
}

TEST(BRAuthorization, APathThatCannotBeRestoredIsLogged) {
    Authorizer authorizer;
    PrivilegedRun run = authorizer.run();
    int sets = 0;
    run.setenv = [&sets](const char* name, const char* value, int overwrite) {
        errno = EINVAL;
        return sets++ == 0 ? ::setenv(name, value, overwrite) : -1;
    };
    const EnvironmentVariable path("PATH", "/somewhere");
    const LogFile log;
    EXPECT_TRUE(runShellWithAuthorization(u"", u"true", run)) << "the command ran all the same";
    EXPECT_THAT(log.messages(), ElementsAre("Failed to restore original PATH with errno: 22"));
}

TEST(BRAuthorization, ChildExitHasItsDefaultActionWhileItRuns) {
    struct sigaction former {};
    struct sigaction handler {};
    handler.sa_handler = onChildExit;
    handler.sa_flags = SA_NOCLDSTOP | SA_RESTART;
    sigaction(SIGCHLD, &handler, &former);
    Authorizer authorizer;
    EXPECT_TRUE(runShellWithAuthorization(u"", u"true", authorizer.run()));
    EXPECT_TRUE(authorizer.childExitWasDefault);
    struct sigaction after {};
    sigaction(SIGCHLD, &former, &after);
    EXPECT_EQ(after.sa_handler, onChildExit);
    EXPECT_TRUE((after.sa_flags & SA_NOCLDSTOP) != 0);
}

struct ProbeCase {
    int failing;
    const char* before; // of TMPDIR; null: none
    bool hasTemporaryFolder;
    bool hasHome;
    std::vector<std::string> probedIn;
    const char* seen; // by the command
    std::vector<const char*> messages;
};

TEST(BRAuthorization, TheTemporaryFolderIsLookedForInThreePlaces) {
    constexpr const char* temporary = "tmpfile failed. Trying again with NSTemporaryDirectory()";
    constexpr const char* home = "tmpfile failed. Trying again with NSHomeDirectory()";
    constexpr const char* up = "tmpfile failed. Giving up.";
    const ProbeCase rows[] = {
        {0, "/own", true, true, {"/own"}, "/own", {}},
        {0, nullptr, true, true, {"(none)"}, "(none)", {}},
        {1, "/own", true, true, {"/own", "/temporary"}, "/temporary", {temporary}},
        {1, nullptr, true, true, {"(none)", "/temporary"}, "/temporary", {temporary}},
        {2, "/own", true, true, {"/own", "/temporary", "/home"}, "/home", {temporary, home}},
        {3, "/own", true, true, {"/own", "/temporary", "/home"}, "/home", {temporary, home, up}},
        {3, nullptr, true, true, {"(none)", "/temporary", "/home"}, "/home", {temporary, home, up}},
        {1, "/own", false, true, {"/own", "/home"}, "/home", {temporary, home}},
        {9, "/own", true, false, {"/own", "/temporary"}, "/temporary", {temporary, home, up}},
        {9, "/own", false, false, {"/own"}, "/own", {temporary, home, up}},
        {9, nullptr, false, false, {"(none)"}, "(none)", {temporary, home, up}},
    };
    for (const ProbeCase& row : rows) {
        Authorizer authorizer;
        authorizer.probesThatFail = row.failing;
        PrivilegedRun run = authorizer.run();
        if (!row.hasTemporaryFolder)
            run.NSTemporaryDirectory = [] { return std::nullopt; };
        if (!row.hasHome)
            run.NSHomeDirectory = [] { return String(); };
        const LogFile log; // in a temporary folder, so before the variable
        const EnvironmentVariable folder("TMPDIR", row.before);
        EXPECT_TRUE(runShellWithAuthorization(u"", u"true", run)) << "the command runs in every case";
        const std::string what = testing::PrintToString(row.probedIn);
        EXPECT_EQ(authorizer.probedIn, row.probedIn);
        EXPECT_EQ(authorizer.temporaryFolderSeen, row.seen) << what;
        EXPECT_EQ(variable("TMPDIR"), row.before ? row.before : "(none)") << what;
        EXPECT_EQ(log.messages(), std::vector<std::string>(row.messages.begin(), row.messages.end())) << what;
    }
}

TEST(BRAuthorization, TheProbeAsksTheFolderThatTheVariableNames) {
    const TemporaryFolder folder;
    const PrivilegedRun run = privilegedRun();
    const EnvironmentVariable nowhere("TMPDIR", "/no/such/folder");
    EXPECT_EQ(run.tmpfile(), nullptr);
    EXPECT_EQ(run.NSTemporaryDirectory(), u"/tmp");
    const EnvironmentVariable home("HOME", "/some/home");
    EXPECT_EQ(run.NSHomeDirectory(), u"/some/home");
    const EnvironmentVariable somewhere("TMPDIR", folder.path().c_str());
    std::FILE* file = run.tmpfile();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fputs("text", file), 1);
    std::fclose(file);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path())) << "it has no name";
    EXPECT_EQ(run.NSTemporaryDirectory(), folder.path().u16string());
    const EnvironmentVariable none("TMPDIR", nullptr);
    file = run.tmpfile();
    ASSERT_NE(file, nullptr);
    std::fclose(file);
}

TEST(BRAuthorization, WithoutPolkitNothingRuns) {
    const EnvironmentVariable bus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/bus");
    const TemporaryFolder folder;
    const LogFile log;
    const String command = u": > " + (folder / "out").u16string();
    EXPECT_FALSE(runShellWithAuthorization(u"prompt", command));
    EXPECT_FALSE(std::filesystem::exists(folder / "out"));
    EXPECT_THAT(log.messages(),
                ElementsAre("Failed to run shell command ': > " + (folder / "out").string() +
                            "' with authorization, status: " + std::to_string(platform::errAuthorizationInternal)));
}

TEST(BRAuthorization, OtherRightsAreNotGranted) {
    const AuthorizationItem right = {"system.other", {}, 0};
    AuthorizationRef authorization;
    const platform::AuthorizationServices& services = platform::authorizationServices();
    EXPECT_EQ(services.AuthorizationCreate(std::span(&right, 1), {}, 19, authorization),
              platform::errAuthorizationDenied);
    EXPECT_EQ(services.AuthorizationExecuteWithPrivileges(nullptr, "/bin/true", 0, {}),
              platform::errAuthorizationDenied);
    authorization = std::make_shared<const platform::Authorization>();
    const EnvironmentVariable path("PATH", "/no/such/folder");
    EXPECT_EQ(services.AuthorizationExecuteWithPrivileges(authorization, "/bin/true", 0, {}),
              platform::errAuthorizationToolExecuteFailure);
    EXPECT_EQ(services.AuthorizationFree(authorization, 0), 0);
    EXPECT_EQ(authorization, nullptr);
}

} // namespace
} // namespace brimle
