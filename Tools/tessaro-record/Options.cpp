#include "Options.h"

namespace tessaro_record {

namespace {

constexpr const char* usageText = R"(Usage: tessaro-record [OPTION]... [FILE]

Reads the record that TessaroThumbs wrote and shows what is in it: the identifier, and of the large, medium and small
image the length in bytes and the size in pixels. Without FILE, or with -, it reads standard input.

Options:
  --json           print one JSON object instead of the table
  --extract DIR    write the images to DIR as large, medium and small with the format's extension; DIR is made when it
                   is missing, files of these names are replaced
  --format FORMAT  of the written files: tiff, the record's own bytes (the default), or png
  --skip-log       accept log lines in front of the record, as the helper leaves them when it cannot open its log file
  --help           print this text
  --version        print the version
  --               end of the options

A record that is cut short, does not begin with its magic, has lengths that do not fit or bytes behind its end is
refused, and so is one with an image that no decoder accepts (its other parts are shown all the same). Characters of the
identifier that would act on a terminal are printed as \u{...}.

Exit status:
  0  the record is well formed, and everything asked for was written
  1  there is no record, it is malformed, or a file could not be read or written
  2  the command line is wrong

Examples:
  TessaroThumbs -url https://example.org -uuid 1 | tessaro-record
  TessaroThumbs -url https://example.org -uuid 1 | tessaro-record --extract pictures --format png
  tessaro-record --json page.record | python3 -m json.tool
)";

// The value of "--name=value" or the word that follows "--name"; absent when there is none.
std::optional<std::string> takeValue(std::span<char* const> words, std::size_t& position,
                                     const std::optional<std::string>& attached) {
    if (attached)
        return attached;
    if (position + 1 >= words.size())
        return std::nullopt;
    return words[++position];
}

std::optional<UsageError> setFormat(Options& options, const std::string& name) {
    if (name == "tiff")
        options.format = ImageFormat::TIFF;
    else if (name == "png")
        options.format = ImageFormat::PNG;
    else
        return UsageError{"--format takes tiff or png"};
    return std::nullopt;
}

std::optional<UsageError> setFile(Options& options, bool& given, const char* word) {
    if (given)
        return UsageError{"one record at a time: there is more than one file name"};
    given = true;
    if (std::string_view(word) != "-")
        options.file = word;
    return std::nullopt;
}

bool* flagNamed(Options& options, std::string_view name) {
    return name == "--json"       ? &options.json
           : name == "--skip-log" ? &options.skipLog
           : name == "--help"     ? &options.help
           : name == "--version"  ? &options.version
                                  : nullptr;
}

} // namespace

const char* usage() {
    return usageText;
}

std::variant<Options, UsageError> parseOptions(std::span<char* const> words) {
    Options options;
    bool fileGiven = false;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string word = words[i];
        std::optional<UsageError> error;
        if (optionsEnded || word == "-" || !word.starts_with('-')) {
            error = setFile(options, fileGiven, words[i]);
        } else if (word == "--") {
            optionsEnded = true;
        } else if (bool* flag = flagNamed(options, word)) {
            *flag = true;
        } else {
            const std::size_t equals = word.find('=');
            const std::string name = word.substr(0, equals);
            const auto attached =
                equals == std::string::npos ? std::nullopt : std::optional<std::string>(word.substr(equals + 1));
            if (name != "--extract" && name != "--format")
                return UsageError{"there is no such option: " + word};
            const auto value = takeValue(words, i, attached);
            if (!value || value->empty())
                return UsageError{name + " needs a value"};
            if (name == "--extract")
                options.folder = value;
            else
                error = setFormat(options, *value);
        }
        if (error)
            return *error;
    }
    return options;
}

} // namespace tessaro_record
