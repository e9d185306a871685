#include "Harness.h"

#include "AppKit/ImageDecoding.h"

#include <array>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace end_to_end {

using testing_support::contentsOf;

namespace {

constexpr const char* logFile = "Library/Logs/Tessaro/TessaroThumbs.log";
constexpr const char* preferencesFile = "Library/Preferences/fi.tessaro.Tessaro.plist";

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

std::string without(std::string text, const std::string& part) {
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part))
        text.erase(at, part.size());
    return text;
}

std::string preferencesXML(const CaptureOptions& options) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>";
    if (options.verbose)
        xml += "<key>VerboseThumbnailLogging</key><integer>1</integer>";
    for (const auto& [name, value] : options.preferences)
        xml.append("<key>").append(name).append("</key>").append(value);
    return xml + "</dict></plist>\n";
}

} // namespace

std::filesystem::path program(const std::string& name) {
    return std::filesystem::path(PROGRAMS_FOLDER) / name;
}

Site& Site::shared() {
    static Site site;
    return site;
}

Site::Site() {
    ProcessOptions options;
    options.keepInputOpen = true;
    process_ = std::make_unique<Process>(program("loopback-site"),
                                         std::vector<std::string>{"--folder", SITE_FOLDER, "--routes", "--https",
                                                                  folder_.path(), "--log", folder_ / "requests"},
                                         options);
    ports_ = process_->readLine();
    if (ports_.empty())
        throw std::runtime_error("the test site did not start: " + process_->finish().errors);
}

std::string Site::base(const std::string& beginning, const std::string& server) const {
    const std::string key = "\"" + server + "\": ";
    const std::size_t at = ports_.find(key);
    if (at == std::string::npos)
        throw std::runtime_error("no such server: " + server);
    return beginning + std::to_string(std::stoul(ports_.substr(at + key.size())));
}

std::vector<Request> Site::requests() const {
    std::vector<Request> requests;
    for (const std::string& line : split(contentsOf(folder_ / "requests"), '\n')) {
        const auto fields = split(line, '\t');
        Request request{fields.at(0), {}};
        for (std::size_t i = 1; i < fields.size(); ++i) {
            const std::size_t colon = fields[i].find(": ");
            request.headers[fields[i].substr(0, colon)] = fields[i].substr(std::min(colon + 2, fields[i].size()));
        }
        requests.push_back(request);
    }
    return requests;
}

bool Site::sawRequest(const std::string& line) const {
    for (const Request& request : requests())
        if (request.line == line)
            return true;
    return false;
}

// The server appends, so the next request stands at the new beginning.
void Site::forgetRequests() {
    std::filesystem::resize_file(folder_ / "requests", 0);
}

Capture::Capture(const std::string& address, const CaptureOptions& options) {
    std::vector<std::string> arguments = {"-url", address};
    if (options.uuid)
        arguments.insert(arguments.end(), {"-uuid", *options.uuid});
    start(arguments, options);
}

Capture::Capture(const std::vector<std::string>& arguments, const CaptureOptions& options) {
    start(arguments, options);
}

void Capture::start(const std::vector<std::string>& arguments, const CaptureOptions& options) {
    static int runs = 0;
    mark_ = std::to_string(getpid()) + "-" + std::to_string(++runs);
    limit_ = options.limit;
    testing_support::write(home_ / preferencesFile, preferencesXML(options));
    std::filesystem::create_directory(home_ / "tmp");
    ProcessOptions process = options.process;
    for (const char* name : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
        process.environment.try_emplace(name, std::nullopt);
    process.environment.try_emplace("HOME", home_.path());
    process.environment.try_emplace("TMPDIR", home_ / "tmp");
    process.environment["TESSARO_TEST_RUN"] = mark_;
    process_ = std::make_unique<Process>(program("TessaroThumbs"), arguments, process);
}

Processes Capture::processes() const {
    Processes found = testing_support::processesWithEnvironment("TESSARO_TEST_RUN=" + mark_);
    // Not every process keeps its environment.
    found.merge(testing_support::descendantsOf(process_->pid()));
    found.merge(testing_support::strayProcesses());
    return found;
}

std::vector<pid_t> Capture::processes(const std::string& name) const {
    std::vector<pid_t> pids;
    for (const auto& [pid, command] : processes())
        if (command == name.substr(0, 15))
            pids.push_back(pid);
    return pids;
}

Capture& Capture::finish() {
    result_ = process_->finish(limit_);
    return *this;
}

std::optional<tessaro::ThumbnailRecord> Capture::record() const {
    return tessaro::readThumbnailRecord(platform::charactersAsBytes(result_.output), nullptr);
}

platform::NSBitmapImageRep Capture::picture() const {
    const auto parts = record();
    auto pages = platform::decodeImage(parts ? parts->large : platform::DataView());
    if (pages.size() != 1)
        throw std::runtime_error("the large image has " + std::to_string(pages.size()) + " pages");
    return pages[0];
}

std::vector<std::string> Capture::log() const {
    std::vector<std::string> messages;
    for (const std::string& line : split(contentsOf(home_ / logFile), '\n'))
        messages.push_back(without(line.substr(std::min(line.find("| ") + 2, line.size())), Site::shared().url("")));
    if (!messages.empty())
        messages.erase(messages.begin());
    // Every run asks for touch icons first; what that writes is tested with them.
    std::erase_if(messages, [](const std::string& message) { return message.starts_with("Trying: '"); });
    return messages;
}

std::vector<std::string> Capture::filesLeft() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home_.path())) {
        const std::string name = entry.path().lexically_relative(home_.path());
        if (!entry.is_directory() && name != logFile && name != preferencesFile)
            names.push_back(name);
    }
    return names;
}

std::string Capture::complaints() const {
    std::string text;
    if (result_.timedOut)
        text += "did not end in time\n";
    if (result_.status != 0)
        text += "status " + std::to_string(result_.status) + ", signal " + std::to_string(result_.signal) + "\n";
    if (!result_.output.empty() && !hasRecord())
        text += "output that is no record: " + result_.output.substr(0, 200) + "\n";
    for (const auto& [pid, command] : processes())
        text += "left running: " + command + " (" + std::to_string(pid) + ")\n";
    for (const std::string& name : filesLeft())
        text += "left behind: " + name + "\n";
    return text.empty() ? text : text + "standard error: " + result_.errors;
}

std::string describe(platform::NSBitmapImageRep::Pixel pixel) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", pixel);
    return text.data();
}

} // namespace end_to_end
