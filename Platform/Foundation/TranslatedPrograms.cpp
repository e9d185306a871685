#include "TranslatedPrograms.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

namespace platform {
namespace {

// One registered format, as the kernel prints it: "enabled", "interpreter <path>", "flags: ...", "magic <hex>", ...
struct Format {
    bool enabled = false;
    std::string interpreter;
    std::string magic;
};

Format readFormat(const std::filesystem::path& file) {
    Format format;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        const auto valueOf = [&](std::string_view name) {
            return line.starts_with(name) ? line.substr(name.size()) : "";
        };
        format.enabled = format.enabled || line == "enabled";
        if (format.interpreter.empty())
            format.interpreter = valueOf("interpreter ");
        if (format.magic.empty())
            format.magic = valueOf("magic ");
    }
    return format;
}

bool translates(const Format& format, const std::filesystem::path& program) {
    std::error_code ignored;
    return format.enabled && format.magic.starts_with("7f454c46") && // ELF; others interpret bytecode or scripts
           (format.interpreter == program || std::filesystem::equivalent(format.interpreter, program, ignored));
}

} // namespace

std::optional<bool> isNativeProcess(const std::string& proc, const std::string& process) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::path(proc) / process;
    const std::filesystem::path program = std::filesystem::read_symlink(folder / "exe", error);
    if (error) {
        const bool there = std::filesystem::exists(folder);
        errno = error.value() == ENOENT && !there ? ESRCH : error.value();
        return std::nullopt;
    }
    std::filesystem::directory_iterator formats(std::filesystem::path(proc) / "sys/fs/binfmt_misc", error);
    if (error)
        return true; // nothing can be registered
    for (; formats != std::filesystem::directory_iterator(); formats.increment(error)) {
        if (translates(readFormat(formats->path()), program))
            return false;
    }
    return true;
}

} // namespace platform
