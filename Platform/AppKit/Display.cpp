#include "AppKit/Display.h"

#include <X11/Xlib.h>
#include <cstdlib>
#include <gdk/gdkx.h>
#include <gtk/gtk.h>
#include <optional>
#include <string>
#include <unistd.h>

namespace platform {
namespace {

int privateDisplayDescriptor = -1;
int authorityDescriptor = -1;
bool isPrivate = false;

// The number that the display server prints, without its line feed; empty when it ended without one.
std::string displayNumber(int descriptor) {
    std::string number;
    char character = '\0';
    while (read(descriptor, &character, 1) == 1 && character != '\n')
        number.push_back(character);
    close(descriptor);
    return character == '\n' ? number : "";
}

// The checking form: the other one ends the process with status 1.
bool initializeToolkit() {
    if (gtk_init_check(nullptr, nullptr))
        return true;
    g_printerr("TessaroThumbs: there is no display to connect to.\n");
    return false;
}

// The engine's own processes come from inside a sandbox that this process's secret does not reach; the server lets them
// in as the same user's, which it asks the kernel.
void admitOwnProcesses() {
    Display* display = gdk_x11_display_get_xdisplay(gdk_display_get_default());
    std::string type = "localuser";
    std::string user = "#" + std::to_string(geteuid());
    XServerInterpretedAddress address{static_cast<int>(type.size()), static_cast<int>(user.size()), type.data(),
                                      user.data()};
    XHostAddress host{FamilyServerInterpreted, sizeof(address), reinterpret_cast<char*>(&address)};
    XAddHost(display, &host);
    XFlush(display);
}

bool connect() {
    if (!isPrivate)
        return initializeToolkit();
    const std::string number = displayNumber(privateDisplayDescriptor);
    if (number.empty()) {
        g_printerr("TessaroThumbs: the private display did not come up.\n");
        return false;
    }
    gdk_set_allowed_backends("x11");
    setenv("DISPLAY", (":" + number).c_str(), 1);
    setenv("XAUTHORITY", ("/proc/self/fd/" + std::to_string(authorityDescriptor)).c_str(), 1);
    const bool connected = initializeToolkit();
    setenv("XAUTHORITY", "/dev/null", 1); // for the engine's processes; without it they look into the home directory
    close(authorityDescriptor);
    if (connected)
        admitOwnProcesses();
    return connected;
}

} // namespace

void usePrivateDisplay(int descriptor, int authority) {
    privateDisplayDescriptor = descriptor;
    authorityDescriptor = authority;
    isPrivate = true;
}

bool displayIsPrivate() {
    return isPrivate;
}

bool connectToDisplay() {
    static const bool connected = connect();
    return connected;
}

} // namespace platform
