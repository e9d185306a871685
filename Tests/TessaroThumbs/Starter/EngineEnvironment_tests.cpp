#include "TessaroThumbs/Starter/EngineEnvironment.h"

#include "WebKit/EngineLibraries.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <unistd.h>

namespace tessaro {
namespace {

// The environment that a process with exactly `own` gives to its engine half, as names and values.
std::map<std::string, std::string> madeFrom(std::vector<std::string> own, bool privateDisplay,
                                            const std::string& runtimeFolder = "") {
    std::vector<char*> pointers;
    pointers.reserve(own.size() + 1);
    for (std::string& entry : own)
        pointers.push_back(entry.data());
    pointers.push_back(nullptr);
    char** before = environ;
    environ = pointers.data();
    const std::vector<std::string> made = engineEnvironment(privateDisplay, "/helper", runtimeFolder);
    environ = before;
    std::map<std::string, std::string> values;
    for (const std::string& entry : made) {
        const std::size_t sign = entry.find('=');
        EXPECT_NE(sign, std::string::npos) << entry;
        EXPECT_TRUE(values.emplace(entry.substr(0, sign), entry.substr(sign + 1)).second) << entry << " stands twice";
    }
    return values;
}

struct VariableRow {
    const char* name;
    const char* callers;                     // null: the caller has none
    std::optional<std::string> onOwnDisplay; // what the engine gets
    std::optional<std::string> onUsersDisplay;
};

TEST(EngineEnvironment, HasWhatMakesARunQuietPrivateAndQuick) {
    const auto none = std::nullopt;
    const VariableRow rows[] = {
        // One pixel a point
        {"GDK_SCALE", "2", "1", "1"},
        {"GDK_SCALE", nullptr, "1", "1"},
        {"GDK_DPI_SCALE", "1.5", "1", "1"},
        // Nothing of the desktop
        {"NO_AT_BRIDGE", nullptr, "1", "1"},
        {"WEBKIT_A11Y_BUS_ADDRESS", "unix:path=/x", "", ""},
        {"GIO_USE_VFS", "gvfs", "local", "local"},
        {"MESA_SHADER_CACHE_DISABLE", "false", "true", "true"},
        // Empty libraries first, then the caller's own
        {"LD_LIBRARY_PATH", nullptr, "/helper/substitutes", "/helper/substitutes"},
        {"LD_LIBRARY_PATH", "", "/helper/substitutes", "/helper/substitutes"},
        {"LD_LIBRARY_PATH", "/a:/b", "/helper/substitutes:/a:/b", "/helper/substitutes:/a:/b"},
        // The caller's display
        {"DISPLAY", ":0", none, ":0"},
        {"WAYLAND_DISPLAY", "wayland-0", none, "wayland-0"},
        {"XAUTHORITY", "/home/u/.Xauthority", none, "/home/u/.Xauthority"},
        {"GTK_IM_MODULE", "ibus", none, "ibus"},
        {"GTK_MODULES", "gail", none, "gail"},
        {"DESKTOP_STARTUP_ID", "id", none, "id"},
        {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/user/1/bus", none, "unix:path=/run/user/1/bus"},
        // The private one's
        {"GDK_BACKEND", "wayland", "x11", "wayland"},
        {"GDK_GL", nullptr, "disable", none},
        {"GTK_THEME", "Adwaita:dark", "Plain", "Adwaita:dark"},
        {"GTK_DATA_PREFIX", nullptr, "/helper/substitutes", none},
        {"__EGL_VENDOR_LIBRARY_FILENAMES", nullptr, "/helper/substitutes/share/egl/late.json", none},
        // The order of the engine's libraries, unless the caller has libraries of his own
        {"LD_PRELOAD", nullptr, platform::engineLibrariesInOrder, none},
        {"LD_PRELOAD", "/own.so", "/own.so", "/own.so"},
        // The caller's own
        {"HOME", "/home/u", "/home/u", "/home/u"},
        {"LANG", "fi_FI.UTF-8", "fi_FI.UTF-8", "fi_FI.UTF-8"},
        {"http_proxy", "http://proxy:8080", "http://proxy:8080", "http://proxy:8080"},
        {"EMPTY", "", "", ""},
        {"WITH_SIGNS", "a=b=c", "a=b=c", "a=b=c"},
        // Names that merely begin like others
        {"DISPLAY_NAME", "x", "x", "x"},
        {"GDK_SCALE_FACTOR", "3", "3", "3"},
        {"XGDK_SCALE", "3", "3", "3"},
    };
    for (const VariableRow& row : rows)
        for (const bool privateDisplay : {true, false}) {
            std::vector<std::string> own{"FIRST=1"};
            if (row.callers)
                own.push_back(std::string(row.name) + "=" + row.callers);
            own.emplace_back("LAST=2");
            const auto made = madeFrom(own, privateDisplay);
            const auto found = made.find(row.name);
            EXPECT_EQ(found == made.end() ? std::nullopt : std::optional(found->second),
                      privateDisplay ? row.onOwnDisplay : row.onUsersDisplay)
                << row.name << (privateDisplay ? " on a display of its own" : " on the user's display");
            EXPECT_EQ(made.at("FIRST"), "1");
            EXPECT_EQ(made.at("LAST"), "2");
        }
}

TEST(EngineEnvironment, TheRunsFolderTakesTheUsersPlace) {
    EXPECT_EQ(madeFrom({"XDG_RUNTIME_DIR=/run/user/1"}, true, "/tmp/run").at("XDG_RUNTIME_DIR"), "/tmp/run");
    EXPECT_EQ(madeFrom({}, true, "/tmp/run").at("XDG_RUNTIME_DIR"), "/tmp/run");
    EXPECT_EQ(madeFrom({"XDG_RUNTIME_DIR=/run/user/1"}, false).at("XDG_RUNTIME_DIR"), "/run/user/1");
    EXPECT_FALSE(madeFrom({}, true).contains("XDG_RUNTIME_DIR"));
}

TEST(EngineEnvironment, AnEmptyEnvironmentIsNoObstacle) {
    EXPECT_EQ(madeFrom({}, false).at("GDK_SCALE"), "1");
    char** before = environ;
    environ = nullptr;
    const auto made = engineEnvironment(true, "/helper", "");
    environ = before;
    EXPECT_NE(std::find(made.begin(), made.end(), "GDK_SCALE=1"), made.end());
}

} // namespace
} // namespace tessaro
