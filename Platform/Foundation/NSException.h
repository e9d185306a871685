// The platform's exception class. Code that guards against "the platform's exception class" catches exactly this type;
// any other exception propagates.
#pragma once

#include "NSString.h"

#include <exception>

namespace platform {

class NSException : public std::exception {
public:
    NSException(StringView name, StringView reason);

    [[nodiscard]] const String& name() const { return name_; }
    [[nodiscard]] const String& reason() const { return reason_; }
    // One text a frame, innermost first, taken where the exception was made.
    [[nodiscard]] const std::vector<String>& callStackSymbols() const { return callStackSymbols_; }
    // What "%@" prints: the reason, or the name where the reason is empty.
    [[nodiscard]] String description() const { return reason_.empty() ? name_ : reason_; }
    [[nodiscard]] const char* what() const noexcept override { return what_.c_str(); }

private:
    String name_;
    String reason_;
    std::vector<String> callStackSymbols_;
    std::string what_;
};

} // namespace platform
