#include "AppKit/Display.h"

#include <cstdlib>
#include <gtk/gtk.h>
#include <optional>
#include <string>
#include <unistd.h>

namespace platform {
namespace {

int privateDisplayDescriptor = -1;
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

bool connect() {
    if (isPrivate) {
        const std::string number = displayNumber(privateDisplayDescriptor);
        if (number.empty()) {
            g_printerr("The private display could not be started.\n");
            return false;
        }
        setenv("DISPLAY", (":" + number).c_str(), 1);
        gdk_set_allowed_backends("x11");
    }
    // The checking form: the other one ends the process with status 1.
    if (!gtk_init_check(nullptr, nullptr)) {
        g_printerr("There is no display to connect to.\n");
        return false;
    }
    return true;
}

} // namespace

void usePrivateDisplay(int descriptor) {
    privateDisplayDescriptor = descriptor;
    isPrivate = true;
}

bool displayIsPrivate() { return isPrivate; }

bool connectToDisplay() {
    static const bool connected = connect();
    return connected;
}

} // namespace platform
