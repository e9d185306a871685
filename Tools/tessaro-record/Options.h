// The words of the command line.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <variant>

namespace tessaro_record {

enum class ImageFormat { TIFF, PNG };

struct Options {
    std::string file; // empty: standard input
    bool json = false;
    bool skipLog = false;
    std::optional<std::string> folder; // where the images go
    ImageFormat format = ImageFormat::TIFF;
    bool help = false;
    bool version = false;
};

struct UsageError {
    std::string message;
};

// `words` without the program's own name.
[[nodiscard]] std::variant<Options, UsageError> parseOptions(std::span<char* const> words);

[[nodiscard]] const char* usage();

} // namespace tessaro_record
