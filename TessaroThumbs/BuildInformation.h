// What the start banner says about the build: C strings, fixed when the helper is compiled.
#pragma once

namespace tessaro::build {

extern const char* const version;
extern const char* const revision;
extern const char* const number; // the one at the head of every log line
extern const char* const date;   // "Jun 20 2011", the day padded with a blank
extern const char* const time;   // "13:42:56"

} // namespace tessaro::build
