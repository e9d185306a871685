// Icons by name, as desktops keep them: themes are folders of PNG files in many sizes, with an index and parents.
#pragma once

#include "Foundation/NSString.h"

namespace platform {

struct IconTheme {
    String name;                 // of the theme's folder
    std::vector<String> folders; // that hold themes, first found first

    // The theme that the user or the machine chose for its desktop, "Adwaita" without a choice, in the folders that the
    // environment names.
    [[nodiscard]] static IconTheme ofDesktop();
};

// The PNG files of an icon, one a size: from the theme, else from its parents in their order, else from "hicolor".
// Empty when there is none and for names that are no plain file names.
[[nodiscard]] std::vector<String> pathsOfIcon(const IconTheme& theme, StringView name);

} // namespace platform
