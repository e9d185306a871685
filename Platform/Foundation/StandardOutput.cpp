#include "StandardOutput.h"

#include <cerrno>

namespace platform {
namespace {

std::FILE* replacement = nullptr;
bool standardOutputIsClosed = false;

} // namespace

std::FILE* standardOutput() {
    if (standardOutputIsClosed)
        return nullptr;
    return replacement ? replacement : stdout;
}

bool isStandardOutput(const std::FILE* stream) {
    return stream == (replacement ? replacement : stdout);
}

void replaceStandardOutput(std::FILE* stream) {
    replacement = stream;
    standardOutputIsClosed = false;
}

int closeStream(std::FILE* stream) {
    if (!isStandardOutput(stream))
        return std::fclose(stream);
    if (standardOutputIsClosed) {
        errno = EBADF;
        return EOF;
    }
    standardOutputIsClosed = true;
    return std::fclose(stream);
}

} // namespace platform
