#include "StandardOutput.h"

#include <cerrno>

namespace platform {
namespace {

bool standardOutputIsClosed = false;

} // namespace

std::FILE* standardOutput() { return standardOutputIsClosed ? nullptr : stdout; }

void replaceStandardOutput(std::FILE* stream) {
    stdout = stream;
    standardOutputIsClosed = false;
}

int closeStream(std::FILE* stream) {
    if (stream != stdout)
        return std::fclose(stream);
    if (standardOutputIsClosed) {
        errno = EBADF;
        return EOF;
    }
    standardOutputIsClosed = true;
    return std::fclose(stream);
}

} // namespace platform
