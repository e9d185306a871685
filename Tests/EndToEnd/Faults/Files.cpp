// Logs, homes and preferences that cannot be written, read or believed.
#include "Fault.h"

#include <csignal>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace faults {
namespace {

namespace fs = std::filesystem;

constexpr const char* logFile = "Library/Logs/Tessaro/TessaroThumbs.log";
constexpr const char* preferencesFile = "Library/Preferences/fi.tessaro.Tessaro.plist";

auto home(const char* value) {
    return [=](Setup& setup) { setup.environment["HOME"] = value ? std::optional<std::string>(value) : std::nullopt; };
}

void makeLogFolderImpossible(Setup& setup) {
    setup.logVerbosely();
    testing_support::write(setup.home / "Library/Logs", "a file where a folder should be");
}

void makeLogUnwritable(Setup& setup) {
    setup.logVerbosely();
    fs::create_directories(setup.home / logFile); // a folder where a file should be
}

void putPipeInPlaceOfLog(Setup& setup) {
    setup.logVerbosely();
    fs::create_directories((setup.home / logFile).parent_path());
    (void)mkfifo((setup.home / logFile).c_str(), S_IRWXU);
}

void fillDiskOfLog(Setup& setup) {
    setup.logVerbosely();
    fs::create_directories((setup.home / logFile).parent_path());
    fs::create_symlink("/dev/full", setup.home / logFile);
}

void limitFileSize(Setup& setup) {
    setup.logVerbosely();
    setup.inChild = [] {
        constexpr rlimit none{100, 100};
        return setrlimit(RLIMIT_FSIZE, &none) == 0;
    };
}

auto inHome(const std::function<bool(const char*)>& change) {
    return [=](Setup& setup) {
        setup.logVerbosely();
        setup.inChild = [change, path = setup.home.string()] { return makePrivateMounts() && change(path.c_str()); };
    };
}

bool remountReadOnly(const char* folder) {
    return mount(folder, folder, nullptr, MS_BIND, nullptr) == 0 &&
           mount(nullptr, folder, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

// The log lies on a disk of one page, which the log's folders fill.
bool mountFullDiskOnLogs(const char* folder) {
    const std::string logs = std::string(folder) + "/Library";
    const std::string preferences = testing_support::contentsOf(std::string(folder) + "/" + preferencesFile);
    if (mount("none", logs.c_str(), "tmpfs", 0, "size=8k") != 0)
        return false;
    testing_support::write(std::string(folder) + "/" + preferencesFile, preferences);
    fs::create_directories(fs::path(folder) / "Library/Logs/Tessaro");
    testing_support::write(logs + "/rest", std::string(65536, 'x'));
    return true;
}

auto preferences(const std::string& contents) {
    return [=](Setup& setup) { setup.setPreferences(contents); };
}

void putFolderInPlaceOfPreferences(Setup& setup) {
    fs::create_directories(setup.home / preferencesFile);
}

void putPipeInPlaceOfPreferences(Setup& setup) {
    fs::create_directories((setup.home / preferencesFile).parent_path());
    (void)mkfifo((setup.home / preferencesFile).c_str(), S_IRWXU);
}

void putDeviceInPlaceOfPreferences(Setup& setup) {
    fs::create_directories((setup.home / preferencesFile).parent_path());
    fs::create_symlink("/dev/zero", setup.home / preferencesFile);
}

void forbidReadingPreferences(Setup& setup) {
    setup.logVerbosely();
    fs::permissions(setup.home / preferencesFile, fs::perms::none);
}

std::string deepPreferences() {
    std::string text = "<plist version=\"1.0\">";
    for (int i = 0; i < 100'000; ++i)
        text += "<array>";
    return text;
}

std::string longDictionary() {
    std::string text = "<plist version=\"1.0\"><dict>";
    for (int i = 0; i < 20'000; ++i)
        text += "<key>k" + std::to_string(i) + "</key><integer>1</integer>";
    return text + "</dict></plist>";
}

std::string logIsEmpty(const Run& run) {
    std::error_code ignored;
    return fs::exists(run.home() / "home" / logFile, ignored) ? "there is a log file" : "";
}

} // namespace

std::vector<Fault> fileFaults() {
    constexpr std::size_t beyondAnyHonestFile = std::size_t{64} << 20;
    std::vector<Fault> faults = {
        {.name = "the log's folder cannot be made", .output = Output::LogAndRecord, .prepare = makeLogFolderImpossible},
        {.name = "the log file cannot be opened", .output = Output::LogAndRecord, .prepare = makeLogUnwritable},
        {.name = "the log is a pipe that nobody reads", .output = Output::LogAndRecord, .prepare = putPipeInPlaceOfLog},
        {.name = "the log's disk is full (/dev/full)", .output = Output::Record, .prepare = fillDiskOfLog},
        {.name = "the log's disk is full (tmpfs)", .output = Output::Record, .prepare = inHome(mountFullDiskOnLogs)},
        {.name = "no file may grow beyond 100 bytes", .output = Output::RecordOrNothing, .prepare = limitFileSize},
        {.name = "no HOME", .output = Output::Record, .prepare = home(nullptr)},
        {.name = "HOME is empty", .output = Output::Record, .prepare = home("")},
        {.name = "HOME does not exist", .output = Output::Record, .prepare = home("/nonexistent/home")},
        {.name = "HOME is a file", .output = Output::Record, .prepare = home("/etc/passwd")},
        {.name = "HOME takes no files (/proc)", .output = Output::Record, .prepare = home("/proc")},
        {.name = "HOME is read-only", .output = Output::LogAndRecord, .prepare = inHome(remountReadOnly)},
        {.name = "preferences are no property list",
         .output = Output::Record,
         .prepare = preferences("\x01\x02 <<<< not a list"),
         .check = logIsEmpty},
        {.name = "preferences are cut off",
         .output = Output::Record,
         .prepare = preferences("<plist version=\"1.0\"><dict><key>VerboseThumbnailLogging</key><inte"),
         .check = logIsEmpty},
        {.name = "preferences are damaged binary",
         .output = Output::Record,
         .prepare = preferences("bplist00" + std::string(40, '\xff')),
         .check = logIsEmpty},
        {.name = "preferences are empty", .output = Output::Record, .prepare = preferences(""), .check = logIsEmpty},
        {.name = "preferences are 64 MiB of blanks",
         .output = Output::Record,
         .prepare = preferences(std::string(beyondAnyHonestFile, ' ')),
         .check = logIsEmpty},
        {.name = "preferences are 100,000 levels deep",
         .output = Output::Record,
         .prepare = preferences(deepPreferences()),
         .check = logIsEmpty},
        {.name = "preferences have 20,000 entries",
         .output = Output::Record,
         .prepare = preferences(longDictionary()),
         .check = logIsEmpty},
        {.name = "preferences are a folder", .output = Output::Record, .prepare = putFolderInPlaceOfPreferences},
        {.name = "preferences are a pipe", .output = Output::Record, .prepare = putPipeInPlaceOfPreferences},
        {.name = "preferences are /dev/zero", .output = Output::Record, .prepare = putDeviceInPlaceOfPreferences},
        {.name = "preferences may not be read", .output = Output::Record, .prepare = forbidReadingPreferences},
    };
    return faults;
}

} // namespace faults
