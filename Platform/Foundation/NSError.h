// An error: a domain and a code. Operations hand one back through an optional out-pointer, `NSErrorPointer error`:
// null when the caller does not ask, else the address of an empty optional that is filled on failure.
#pragma once

#include "NSString.h"

namespace platform {

inline constexpr StringView NSPOSIXErrorDomain = u"NSPOSIXErrorDomain"; // codes are errno values
inline constexpr StringView NSURLErrorDomain = u"NSURLErrorDomain";
inline constexpr long NSURLErrorCancelled = -999;
inline constexpr long NSURLErrorServerCertificateUntrusted = -1202;

class NSError {
public:
    NSError(StringView domain, long code) : domain_(domain), code_(code) {}
    // With a text for people, the user information's localised description.
    NSError(StringView domain, long code, StringView localizedDescription)
        : domain_(domain), code_(code), localizedDescription_(localizedDescription) {}

    [[nodiscard]] const String& domain() const { return domain_; }
    [[nodiscard]] long code() const { return code_; }
    // The text given at construction, else the POSIX text of the code, else "Unknown error".
    [[nodiscard]] String localizedDescription() const;
    // What "%@" prints: Error Domain=<domain> Code=<code> "<localised description>".
    [[nodiscard]] String description() const;

    friend bool operator==(const NSError&, const NSError&) = default;

private:
    String domain_;
    long code_;
    String localizedDescription_;
};

using NSErrorPointer = std::optional<NSError>*;

} // namespace platform
