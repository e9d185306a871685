#include "NSException.h"

#include <array>
#include <cstdlib>
#include <execinfo.h>
#include <memory>

namespace platform {
namespace {

std::vector<String> currentCallStack() {
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    const std::unique_ptr<char*, decltype(&std::free)> names(backtrace_symbols(frames.data(), count), &std::free);
    std::vector<String> symbols;
    constexpr int ownFrames = 2; // this function and the constructor
    for (int i = ownFrames; names && i < count; ++i)
        symbols.push_back(stringWithUTF8OrLatin1(names.get()[i]));
    return symbols;
}

} // namespace

NSException::NSException(StringView name, StringView reason)
    : name_(name), reason_(reason), callStackSymbols_(currentCallStack()), what_(lossyUTF8String(description())) {}

} // namespace platform
