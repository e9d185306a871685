#include "Authorization.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <polkit/polkit.h>
#include <spawn.h>
#include <unistd.h>

namespace platform {
namespace {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

// The action that polkit's tool asks for.
constexpr const char* actionOfTool = "org.freedesktop.policykit.exec";

OSStatus create(std::span<const AuthorizationItem> rights, std::span<const AuthorizationItem> environment,
                AuthorizationFlags flags, AuthorizationRef& authorization) {
    if (rights.size() != 1 || rights.front().name != kAuthorizationRightAdmin)
        return errAuthorizationDenied;
    const Owned<PolkitAuthority> authority(polkit_authority_get_sync(nullptr, nullptr));
    if (!authority)
        return errAuthorizationInternal;
    // The tool asks about the process that started it, which will be this one. It asks again itself, so this question
    // does without the user: a dialog now would be the first of two.
    const Owned<PolkitSubject> ourselves(polkit_unix_process_new_for_owner(getpid(), 0, static_cast<int>(getuid())));
    const Owned<PolkitAuthorizationResult> result(
        polkit_authority_check_authorization_sync(authority.get(), ourselves.get(), actionOfTool, nullptr,
                                                  POLKIT_CHECK_AUTHORIZATION_FLAGS_NONE, nullptr, nullptr));
    if (!result)
        return errAuthorizationInternal;
    const bool granted = polkit_authorization_result_get_is_authorized(result.get()) != FALSE;
    const bool askable = (flags & kAuthorizationFlagInteractionAllowed) != 0 &&
                         polkit_authorization_result_get_is_challenge(result.get()) != FALSE;
    if (!granted && !askable)
        return errAuthorizationDenied;
    const auto prompt = std::find_if(environment.begin(), environment.end(), [](const AuthorizationItem& item) {
        return item.name == kAuthorizationEnvironmentPrompt;
    });
    authorization = std::make_shared<const Authorization>(
        Authorization{prompt == environment.end() ? std::string() : prompt->value, !granted});
    return errAuthorizationSuccess;
}

void writeToTerminal(std::string_view text) {
    const int terminal = open("/dev/tty", O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (terminal == -1)
        return;
    const std::string line = std::string(text) + "\n";
    static_cast<void>(!write(terminal, line.data(), line.size())); // no one to tell if the terminal is gone
    close(terminal);
}

OSStatus execute(const AuthorizationRef& authorization, const char* pathToTool, AuthorizationFlags,
                 std::span<const std::string> arguments) {
    if (!authorization)
        return errAuthorizationDenied;
    std::vector<std::string> words = {"pkexec", "--keep-cwd", pathToTool};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    if (authorization->userIsAsked && !authorization->prompt.empty())
        writeToTerminal(authorization->prompt);

    constexpr int standardStreams = 3;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclosefrom_np(&actions, standardStreams);
    pid_t pid = 0;
    const int failure = posix_spawnp(&pid, argv.front(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return failure == 0 ? errAuthorizationSuccess : errAuthorizationToolExecuteFailure;
}

OSStatus release(AuthorizationRef& authorization, AuthorizationFlags) {
    authorization.reset(); // polkit keeps nothing for us
    return errAuthorizationSuccess;
}

} // namespace

const AuthorizationServices& authorizationServices() {
    static const AuthorizationServices services = {create, execute, release};
    return services;
}

} // namespace platform
