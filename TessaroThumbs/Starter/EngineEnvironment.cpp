#include "TessaroThumbs/Starter/EngineEnvironment.h"

#include "WebKit/EngineLibraries.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace tessaro {
namespace {

struct Setting {
    std::string_view name;
    std::string_view value;
};

// For every run.
constexpr Setting always[] = {
    {"GDK_SCALE", "1"},                   // one pixel a point, whatever the desktop's scale
    {"GDK_DPI_SCALE", "1"},               //
    {"NO_AT_BRIDGE", "1"},                // no accessibility bus for a page that nobody uses
    {"WEBKIT_A11Y_BUS_ADDRESS", ""},      //
    {"GIO_USE_VFS", "local"},             //
    {"MESA_SHADER_CACHE_DISABLE", "true"} // keeps files out of ~/.cache
};

// With a display of its own.
constexpr Setting onPrivateDisplay[] = {
    {"GDK_BACKEND", "x11"},
    {"GDK_GL", "disable"},  // 60 ms
    {"GTK_THEME", "Plain"}, // one of the substitutes
    // No session bus, neither found nor started: with an address of one, the engine puts a proxy to it into its
    // sandbox, which takes 15 ms. Nothing else is found under its mere name either.
    {"PATH", "/nonexistent"},
};

// The caller's display, input methods and session.
constexpr std::string_view leftOutOnPrivateDisplay[] = {
    "DISPLAY",     "DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "XAUTHORITY", "GTK_IM_MODULE",
    "GTK_MODULES", "DESKTOP_STARTUP_ID"};

void put(std::vector<std::string>& environment, std::string_view name, std::string_view value) {
    std::erase_if(environment, [name](const std::string& entry) {
        return entry.size() > name.size() && entry.starts_with(name) && entry[name.size()] == '=';
    });
    environment.push_back(std::string(name) + "=" + std::string(value));
}

// The substitutes' folder (see TessaroThumbs/Substitutes) ahead of the caller's own ones. The engine's sandbox
// shows its processes every folder of this variable with all that is in it.
std::string libraryPath(const std::string& substitutes) {
    const char* callers = std::getenv("LD_LIBRARY_PATH");
    return callers && *callers ? substitutes + ":" + callers : substitutes;
}

} // namespace

std::vector<std::string> engineEnvironment(bool privateDisplay, const std::string& engineFolder,
                                           const std::string& runtimeFolder) {
    std::vector<std::string> environment;
    for (char** entry = environ; entry && *entry; ++entry)
        environment.emplace_back(*entry);
    for (const Setting& setting : always)
        put(environment, setting.name, setting.value);
    const std::string substitutes = engineFolder + "/substitutes";
    put(environment, "LD_LIBRARY_PATH", libraryPath(substitutes));
    if (!runtimeFolder.empty())
        put(environment, "XDG_RUNTIME_DIR", runtimeFolder);
    if (privateDisplay) {
        std::erase_if(environment, [](const std::string& entry) {
            return std::any_of(std::begin(leftOutOnPrivateDisplay), std::end(leftOutOnPrivateDisplay),
                               [&](std::string_view name) { return entry.starts_with(std::string(name) + "="); });
        });
        for (const Setting& setting : onPrivateDisplay)
            put(environment, setting.name, setting.value);
        put(environment, "GTK_DATA_PREFIX", substitutes);
        if (!std::getenv(platform::libraryOrderVariable)) // whoever sets it means something by it
            put(environment, platform::libraryOrderVariable, platform::engineLibrariesInOrder);
        put(environment, "__EGL_VENDOR_LIBRARY_FILENAMES", substitutes + "/share/egl/late.json");
    }
    return environment;
}

} // namespace tessaro
