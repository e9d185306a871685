// The records of running processes, from the kernel's process file system. Any thread.
#pragma once

#include "SystemControl.h"

namespace platform {

// How many processes there are; absent, with errno set, when the file system cannot be read.
[[nodiscard]] std::optional<std::size_t> countProcesses(const std::string& proc);

// Fills `records` and returns how many were written; a process that ends meanwhile is left out. With `user`, only the
// processes of that effective user. Absent, with errno set (ENOMEM when there are more than fit), on failure.
[[nodiscard]] std::optional<std::size_t> readProcesses(const std::string& proc, std::optional<uid_t> user,
                                                       std::span<kinfo_proc> records);

} // namespace platform
