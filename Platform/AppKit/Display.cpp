#include "AppKit/Display.h"

#include <cstdlib>
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
    unsetenv("DISPLAY");
    unsetenv("XAUTHORITY");
    close(authorityDescriptor);
    return connected;
}

} // namespace

void usePrivateDisplay(int descriptor, int authority) {
    privateDisplayDescriptor = descriptor;
    authorityDescriptor = authority;
    isPrivate = true;
}

bool displayIsPrivate() { return isPrivate; }

bool connectToDisplay() {
    static const bool connected = connect();
    return connected;
}

} // namespace platform
