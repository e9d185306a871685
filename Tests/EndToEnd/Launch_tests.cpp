// What the helper is told: arguments, preferences, environment; and what it writes to its log.
#include "Harness.h"

#include "Tests/Support/ProcessState.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <sys/un.h>

namespace end_to_end {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct IdentifierCase {
    const char* name;
    std::optional<std::string> uuid;
    std::string expected;
};

TEST(Launch, TheIdentifierTravelsAsItIs) {
    const IdentifierCase rows[] = {
        {"absent", std::nullopt, ""},
        {"a textual UUID", "5A0F1E2D-0000-4000-8000-0123456789AB", "5A0F1E2D-0000-4000-8000-0123456789AB"},
        {"one character of two bytes", "\xC3\xA9", "\xC3\xA9"},
        {"beyond the first plane", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
        {"64 KiB", std::string(65536, 'u'), std::string(65536, 'u')},
        {"like the magic", "CCAAFFEE", "CCAAFFEE"},
        {"with controls", "a\x1B[1m\nb", "a\x1B[1m\nb"},
        {"a number", "12", "12"},
    };
    for (const IdentifierCase& row : rows) {
        CaptureOptions options;
        options.uuid = row.uuid;
        options.verbose = false;
        Capture capture(Site::shared().url("/plain.html"), options);
        capture.finish();
        EXPECT_EQ(capture.complaints(), "") << row.name;
        const auto record = capture.record();
        ASSERT_TRUE(record) << row.name;
        EXPECT_EQ(platform::bytesAsCharacters(record->identifier), row.expected) << row.name;
    }
}

TEST(Launch, AnAbsentIdentifierIsLoggedAsAbsent) {
    CaptureOptions options;
    options.uuid = std::nullopt;
    Capture capture(Site::shared().url("/plain.html"), options);
    capture.finish();
    EXPECT_THAT(capture.log(), Contains(StartsWith("uuid = (null), l = ")));
}

struct ArgumentCase {
    std::vector<std::string> arguments;
};

TEST(Launch, WithoutAnAddressEndsAtOnce) {
    const ArgumentCase rows[] = {
        {{}}, {{"-url"}}, {{"-url", ""}}, {{"-uuid", "x"}}, {{"--url=http://127.0.0.1/"}}, {{"http://127.0.0.1/"}},
    };
    for (const ArgumentCase& row : rows) {
        Capture capture(row.arguments, {});
        capture.finish();
        const std::string words = testing::PrintToString(row.arguments);
        EXPECT_EQ(capture.complaints(), "") << words;
        EXPECT_EQ(capture.result().output, "") << words;
        EXPECT_EQ(capture.result().errors, "") << words;
        EXPECT_THAT(capture.log(), ElementsAre(StartsWith("Starting TessaroThumbs 3.6.0 #31043 built "))) << words;
    }
}

TEST(Launch, ABareHostIsCompleted) {
    Capture capture(Site::shared().hostAndPort() + "/plain.html");
    capture.finish();
    EXPECT_EQ(capture.complaints(), "");
    EXPECT_TRUE(capture.hasRecord());
}

struct PreferenceCase {
    const char* name;
    std::optional<std::string> file; // the preferences' bytes; absent: no file
    bool verbose;
};

std::string dictionary(const std::string& value) {
    return "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>VerboseThumbnailLogging</key>" + value +
           "</dict></plist>";
}

TEST(Launch, LogsOnlyWhenTheMainApplicationSaysSo) {
    const TemporaryFolder folder;
    const PreferenceCase rows[] = {
        {"1", dictionary("<integer>1</integer>"), true},
        {"missing", std::nullopt, false},
        {"empty", "", false},
        {"damaged", dictionary("<integer>1</integer>").substr(0, 90), false},
        {"0", dictionary("<integer>0</integer>"), false},
        {"negative", dictionary("<integer>-1</integer>"), false},
        {"text", dictionary("<string>1</string>"), false},
        {"low 32 bits 0", dictionary("<integer>4294967296</integer>"), false},
        {"low 32 bits 1", dictionary("<integer>4294967297</integer>"), true},
    };
    for (const PreferenceCase& row : rows) {
        const TemporaryFolder home;
        if (row.file)
            testing_support::write(home / "Library/Preferences/fi.tessaro.Tessaro.plist", *row.file);
        CaptureOptions options;
        options.process.environment["HOME"] = home.path();
        Capture capture(Site::shared().url("/plain.html"), options);
        capture.finish();
        EXPECT_TRUE(capture.hasRecord()) << row.name;
        // A quiet run makes neither the file nor its folder.
        EXPECT_EQ(std::filesystem::exists(home / "Library/Logs/Tessaro/TessaroThumbs.log"), row.verbose) << row.name;
        EXPECT_EQ(std::filesystem::exists(home / "Library/Logs"), row.verbose) << row.name;
    }
}

TEST(Launch, WithoutItsLogFileTheLinesComeAheadOfTheRecord) {
    const TemporaryFolder home;
    testing_support::write(home / "Library/Preferences/fi.tessaro.Tessaro.plist", dictionary("<integer>1</integer>"));
    std::filesystem::create_directories(home / "Library/Logs/Tessaro/TessaroThumbs.log");
    CaptureOptions options;
    options.process.environment["HOME"] = home.path();
    Capture capture(Site::shared().url("/plain.html"), options);
    capture.finish();
    const std::string& output = capture.result().output;
    EXPECT_EQ(capture.result().status, 0);
    EXPECT_FALSE(capture.hasRecord());
    const auto offset = tessaro::findThumbnailRecord(platform::charactersAsBytes(output));
    ASSERT_TRUE(offset) << output.substr(0, 500);
    EXPECT_THAT(output.substr(0, *offset), testing::HasSubstr("| saveThumb\n"));
    EXPECT_THAT(output.substr(0, *offset), testing::HasSubstr("| uuid = x, l = "));
    ProcessOptions reader;
    reader.input = output;
    EXPECT_EQ(testing_support::run(program("tessaro-record"), {}, reader).status, 1);
    EXPECT_EQ(testing_support::run(program("tessaro-record"), {"--skip-log"}, reader).status, 0);
}

struct EnvironmentCase {
    const char* name;
    std::map<std::string, std::optional<std::string>> environment;
};

TEST(Launch, WorksTheSameWhereverItIsStarted) {
    const EnvironmentCase rows[] = {
        {"without a display", {{"DISPLAY", std::nullopt}, {"WAYLAND_DISPLAY", std::nullopt}}},
        {"with displays that are not there", {{"DISPLAY", ":7777"}, {"WAYLAND_DISPLAY", "wayland-7777"}}},
        {"with a backend of the user's", {{"GDK_BACKEND", "wayland"}}},
        {"without a locale", {{"LANG", std::nullopt}, {"LC_ALL", "C"}}},
        {"without PATH", {{"PATH", std::nullopt}}},
        {"with a session bus that is not there", {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}}},
        {"with a proxy for nothing", {{"http_proxy", std::nullopt}, {"GIO_USE_PROXY_RESOLVER", "dummy"}}},
        {"with modules of the user's", {{"GTK_MODULES", "nothing:there"}, {"GTK_IM_MODULE", "nothing"}}},
    };
    for (const EnvironmentCase& row : rows) {
        CaptureOptions options;
        options.process.environment = row.environment;
        Capture capture(Site::shared().url("/plain.html"), options);
        capture.finish();
        EXPECT_EQ(capture.complaints(), "") << row.name;
        ASSERT_TRUE(capture.hasRecord()) << row.name;
        EXPECT_EQ(describe(capture.picture().pixelAt(290, 215)), "0xFF336699") << row.name;
    }
}

std::set<std::string> mappedFiles(pid_t process) {
    std::set<std::string> files;
    std::istringstream maps(testing_support::contentsOf("/proc/" + std::to_string(process) + "/maps"));
    for (std::string line; std::getline(maps, line);)
        if (const auto path = line.find('/'); path != std::string::npos)
            files.insert(line.substr(path));
    return files;
}

// In the engine half, in the network process, and in the sandbox of the web process.
TEST(Launch, TheEnginesProcessesFindTheSubstitutes) {
    Site::shared().forgetRequests();
    Capture capture(Site::shared().url("/never"));
    ASSERT_TRUE(testing_support::waitUntil([] { return Site::shared().sawRequest("GET /never"); }));
    std::set<std::string> emptyLibraries;
    std::string lateDriver;
    for (const auto& entry : std::filesystem::directory_iterator(program("substitutes"))) {
        if (entry.path().filename() == "libEGL_late.so")
            lateDriver = entry.path();
        else if (entry.is_regular_file())
            emptyLibraries.insert(entry.path());
    }
    EXPECT_FALSE(emptyLibraries.empty());
    for (const char* name : {"TessaroThumbsEngine", "WebKitNetworkProcess", "WebKitWebProcess"}) {
        const auto pids = capture.processes(name);
        ASSERT_EQ(pids.size(), 1U) << name;
        const std::set<std::string> mapped = mappedFiles(pids[0]);
        EXPECT_TRUE(std::includes(mapped.begin(), mapped.end(), emptyLibraries.begin(), emptyLibraries.end())) << name;
        for (const std::string& file : mapped)
            EXPECT_THAT(file, Not(AnyOf(HasSubstr("libEGL_mesa"), HasSubstr("_dri.so"), HasSubstr("libLLVM")))) << name;
        // The libraries' order is for those that are not started through the sandbox's programs.
        const std::string environment = testing_support::contentsOf("/proc/" + std::to_string(pids[0]) + "/environ");
        EXPECT_EQ(environment.find("LD_PRELOAD=") == std::string::npos, std::string_view(name) == "WebKitWebProcess")
            << name;
        EXPECT_TRUE(mapped.contains(lateDriver) || std::string_view(name) != "WebKitWebProcess") << name;
    }
    capture.process().sendSignal(SIGTERM);
    capture.finish();
}

// Without it the engine's processes would try to start a session bus, each time it is asked for.
TEST(Launch, TheRunsFolderHasASessionBusThatRefuses) {
    Site::shared().forgetRequests();
    Capture capture(Site::shared().url("/never"));
    ASSERT_TRUE(testing_support::waitUntil([] { return Site::shared().sawRequest("GET /never"); }));
    const auto engines = capture.processes("TessaroThumbsEngine");
    ASSERT_EQ(engines.size(), 1U);
    EXPECT_EQ(testing_support::environmentOf(engines[0], "DBUS_SESSION_BUS_ADDRESS"), "");
    const std::string bus = testing_support::environmentOf(engines[0], "XDG_RUNTIME_DIR") + "/bus";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    bus.copy(address.sun_path, sizeof address.sun_path - 1);
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_NE(connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(errno, ECONNREFUSED) << bus;
    close(client);
    capture.process().sendSignal(SIGTERM);
    capture.finish();
}

TEST(Launch, ClosedStandardStreamsDoNotMatter) {
    const TemporaryFolder folder;
    CaptureOptions options;
    options.process.wrapper = {"sh", "-c", "exec \"$0\" \"$@\" <&- 2>&-"};
    Capture capture(Site::shared().url("/plain.html"), options);
    capture.finish();
    EXPECT_EQ(capture.complaints(), "");
    EXPECT_TRUE(capture.hasRecord());
}

TEST(Launch, DevModeWithoutADisplayEndsWithoutARecord) {
    CaptureOptions options;
    options.preferences["DevMode"] = integer("1");
    options.process.environment = {{"DISPLAY", std::nullopt}, {"WAYLAND_DISPLAY", std::nullopt}};
    Capture capture(Site::shared().url("/plain.html"), options);
    capture.finish();
    EXPECT_EQ(capture.result().status, 0);
    EXPECT_EQ(capture.result().output, "");
}

} // namespace
} // namespace end_to_end
