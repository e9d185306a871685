// Shell scripts and programs, run to the end of their output. Each call blocks until both output streams of the child
// have ended, whatever the child does with them and with its input. Any thread; nothing throws.
//
// A result has these keys:
//     "out"     text, always: the output, or a sentence that says why there is none
//     "err"     text, only when the child wrote to its standard error
//     "status"  number, only when the caller waited for the exit: the exit status, or the number of the ending signal,
//               or -1 when the child was not started or cannot be asked (the process ignores SIGCHLD)
// Output is taken as UTF-8, and as Latin 1 where it is not UTF-8.
#pragma once

#include "Foundation/NSDictionary.h"

namespace brimle {

using platform::DataView;
using platform::NSMutableDictionary;
using platform::String;
using platform::StringView;

// Runs `/bin/bash -c <command>`; the command is the script, followed by a space and the arguments when there are any.
// That is one text for the shell to read: whoever passes words of others must have quoted them.
// Input goes to the script's standard input; without one, the script shares the process's own.
[[nodiscard]] NSMutableDictionary runScriptWaitForExit(StringView script, std::optional<StringView> arguments,
                                                       std::optional<DataView> input, bool wait);
// Does not wait for the exit: a script that closes its output and goes on runs on.
[[nodiscard]] NSMutableDictionary runScript(StringView script, std::optional<StringView> arguments,
                                            std::optional<DataView> input);
// Runs a program by its path, without a shell, and waits for its exit; there is no "status" all the same.
[[nodiscard]] NSMutableDictionary runTask(StringView path, const std::vector<String>& arguments,
                                          std::optional<DataView> input);

} // namespace brimle
