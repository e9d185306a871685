// Running a program with an administrator's rights, through polkit.
//
// polkit asks the user in its own dialog, whose text it does not let an unprivileged application choose: it names the
// program. Where it asks on the terminal, the application's prompt is written there in front of its question.
// One thread at a time. Nothing throws.
#pragma once

#include "Foundation/MacTypes.h"
#include "Foundation/NSString.h"

#include <functional>
#include <memory>

namespace platform {

inline constexpr OSStatus errAuthorizationSuccess = 0;
inline constexpr OSStatus errAuthorizationDenied = -60005;             // polkit says no without asking
inline constexpr OSStatus errAuthorizationInternal = -60008;           // polkit is not there
inline constexpr OSStatus errAuthorizationToolExecuteFailure = -60031; // its tool cannot be started

using AuthorizationFlags = std::uint32_t;
inline constexpr AuthorizationFlags kAuthorizationFlagDefaults = 0;
inline constexpr AuthorizationFlags kAuthorizationFlagInteractionAllowed = 1;
inline constexpr AuthorizationFlags kAuthorizationFlagExtendRights = 2;
inline constexpr AuthorizationFlags kAuthorizationFlagPreAuthorize = 16;

inline constexpr const char* kAuthorizationRightAdmin = "system.privilege.admin";
inline constexpr const char* kAuthorizationEnvironmentPrompt = "prompt";

struct AuthorizationItem {
    std::string name;
    std::string value; // its bytes
    std::uint32_t flags = 0;
    friend bool operator==(const AuthorizationItem&, const AuthorizationItem&) = default;
};

// What was asked for and may now be used.
struct Authorization {
    std::string prompt;       // empty: none
    bool userIsAsked = false; // by polkit, when the program is run
};
using AuthorizationRef = std::shared_ptr<const Authorization>;

struct AuthorizationServices {
    // Whether polkit grants the rights, now or after asking the user. A status, and the authorisation when it is 0.
    std::function<OSStatus(std::span<const AuthorizationItem> rights, std::span<const AuthorizationItem> environment,
                           AuthorizationFlags flags, AuthorizationRef& authorization)>
        AuthorizationCreate;
    // Starts the program, in the current folder and with the process's own standard streams. It becomes a child that
    // the caller waits for: its exit status is the program's, or 126 or 127 when the user declined or could not be
    // asked.
    std::function<OSStatus(const AuthorizationRef& authorization, const char* pathToTool, AuthorizationFlags flags,
                           std::span<const std::string> arguments)>
        AuthorizationExecuteWithPrivileges;
    std::function<OSStatus(AuthorizationRef& authorization, AuthorizationFlags flags)> AuthorizationFree;
};

[[nodiscard]] const AuthorizationServices& authorizationServices();

} // namespace platform
