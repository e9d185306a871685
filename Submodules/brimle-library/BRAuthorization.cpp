#include "brimle/BRAuthorization.h"

#include "Foundation/NSPathUtilities.h"
#include "brimle/DRLogger.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sys/wait.h>

namespace brimle {
namespace {

using platform::AuthorizationItem;
using platform::AuthorizationRef;
using platform::OSStatus;

std::optional<std::string> environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

OSStatus authorize(StringView prompt, const PrivilegedRun& run, AuthorizationRef& authorization) {
    const AuthorizationItem right = {platform::kAuthorizationRightAdmin, {}, 0};
    const AuthorizationItem shown = {platform::kAuthorizationEnvironmentPrompt, platform::lossyUTF8String(prompt), 0};
    constexpr platform::AuthorizationFlags flags = platform::kAuthorizationFlagInteractionAllowed |
                                                   platform::kAuthorizationFlagExtendRights |
                                                   platform::kAuthorizationFlagPreAuthorize;
    return run.authorization.AuthorizationCreate(std::span(&right, 1), std::span(&shown, 1), flags, authorization);
}

// Privileged runs need temporary files, so TMPDIR is pointed to where one can be made. The probe's file is not closed:
// it only shows that there can be one. Whether TMPDIR was changed.
bool settleTemporaryFolder(const PrivilegedRun& run) {
    bool changed = false;
    const auto probesIn = [&](const std::optional<String>& folder) {
        if (folder && !folder->empty()) {
            run.setenv("TMPDIR", platform::lossyUTF8String(*folder).c_str(), 1);
            changed = true;
            return run.tmpfile() != nullptr;
        }
        return false;
    };
    if (run.tmpfile())
        return changed;
    const auto logger = DRLogger::logger();
    logger->log2("tmpfile failed. Trying again with NSTemporaryDirectory()");
    if (probesIn(run.NSTemporaryDirectory()))
        return changed;
    logger->log2("tmpfile failed. Trying again with NSHomeDirectory()");
    if (!probesIn(run.NSHomeDirectory()))
        logger->log2("tmpfile failed. Giving up."); // the command may do without
    return changed;
}

void restoreTemporaryFolder(const std::optional<std::string>& before, const PrivilegedRun& run) {
    if (before)
        run.setenv("TMPDIR", before->c_str(), 1);
    else
        unsetenv("TMPDIR");
}

bool aChildSucceeded(const PrivilegedRun& run) {
    int status = 0;
    return run.wait(&status) != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct Outcome {
    bool succeeded = false;
    bool reported = false;
    OSStatus status = 0;
};

Outcome runAuthorized(StringView command, AuthorizationRef& authorization, const PrivilegedRun& run) {
    struct sigaction defaultAction {};
    defaultAction.sa_handler = SIG_DFL;
    struct sigaction formerAction {};
    sigaction(SIGCHLD, &defaultAction, &formerAction);

    const std::string arguments[] = {"-c", platform::lossyUTF8String(command)};
    const std::optional<std::string> path = environmentValue("PATH");
    if (run.setenv("PATH", "/bin:/usr/bin", 1) != 0) {
        const int code = errno;
        DRLogger::logger()->log2("Failed to set PATH=/bin:/usr/bin with errno: %d", code);
        // As it always was: SIGCHLD keeps its default action and the authorisation is not freed. Where not even a
        // variable can be set, the process is out of memory and about to end.
        return {false, true, 0};
    }
    const std::optional<std::string> temporaryFolder = environmentValue("TMPDIR");
    const bool changed = settleTemporaryFolder(run);
    Outcome outcome;
    outcome.status = run.authorization.AuthorizationExecuteWithPrivileges(
        authorization, "/bin/sh", platform::kAuthorizationFlagDefaults, arguments);
    if (changed)
        restoreTemporaryFolder(temporaryFolder, run);
    outcome.succeeded = outcome.status == 0 && aChildSucceeded(run);
    sigaction(SIGCHLD, &formerAction, nullptr);
    run.authorization.AuthorizationFree(authorization, platform::kAuthorizationFlagDefaults);
    if (path && run.setenv("PATH", path->c_str(), 1) != 0) {
        const int code = errno;
        DRLogger::logger()->log2("Failed to restore original PATH with errno: %d", code);
    }
    return outcome;
}

} // namespace

PrivilegedRun privilegedRun() {
    return {platform::authorizationServices(), ::setenv,
            platform::temporaryFile,           [](int* status) { return ::wait(status); },
            platform::NSTemporaryDirectory,    platform::NSHomeDirectory};
}

bool runShellWithAuthorization(StringView prompt, StringView command, const PrivilegedRun& run) {
    AuthorizationRef authorization;
    Outcome outcome;
    outcome.status = authorize(prompt, run, authorization);
    if (outcome.status == 0)
        outcome = runAuthorized(command, authorization, run);
    if (!outcome.succeeded && !outcome.reported)
        DRLogger::logger()->log2("Failed to run shell command '%@' with authorization, status: %d", command,
                                 outcome.status);
    return outcome.succeeded;
}

} // namespace brimle
