// The process's standard output stream as a resource with one end.
//
// Several members may close it (the record's writer, the logger after a directory failure, the logger again at exit).
// The C library gives a second fclose of one stream no meaning, so all of them go through here. Main thread only.
#pragma once

#include <cstdio>

namespace platform {

// The stream, or null once it was closed.
[[nodiscard]] std::FILE* standardOutput();

// Whether this is the stream that serves as standard output, closed or not.
[[nodiscard]] bool isStandardOutput(const std::FILE* stream);

// Makes another stream the process's standard output from now on. stdio's own `stdout` stays what it was, so that what
// foreign libraries print does not get between the bytes of this process.
void replaceStandardOutput(std::FILE* stream);

// fclose for streams that may be the standard output: closing that twice fails with EBADF instead of crashing.
// Returns 0, or EOF with errno set.
int closeStream(std::FILE* stream);

} // namespace platform
