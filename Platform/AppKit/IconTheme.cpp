#include "IconTheme.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <glib.h>
#include <memory>

namespace platform {
namespace {

namespace fs = std::filesystem;

struct KeyFileCloser {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileCloser>;

KeyFile readKeyFile(const fs::path& path) {
    KeyFile file(g_key_file_new());
    return g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr) ? std::move(file) : nullptr;
}

std::vector<std::string> listOf(GKeyFile* file, const char* group, const char* key) {
    gsize count = 0;
    const std::unique_ptr<gchar*, decltype(&g_strfreev)> values(
        g_key_file_get_string_list(file, group, key, &count, nullptr), &g_strfreev);
    std::vector<std::string> list;
    for (gsize i = 0; values && i < count; ++i) // separated by commas here, which the key file takes for text
        for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
            const std::string_view part(values.get()[i]);
            end = part.find(',', begin);
            if (const auto word = part.substr(begin, end - begin); !word.empty())
                list.emplace_back(word);
        }
    return list;
}

// The environment's variable, else the fallback.
std::string environment(const char* name, const std::string& fallback) {
    const char* value = std::getenv(name);
    return value && *value != '\0' ? value : fallback;
}

std::string chosenTheme(const std::string& home) {
    const std::string own = environment("XDG_CONFIG_HOME", home + "/.config");
    for (const std::string& folder : {own, std::string("/etc")})
        if (const KeyFile settings = readKeyFile(folder + "/gtk-3.0/settings.ini")) {
            const std::unique_ptr<gchar, decltype(&g_free)> name(
                g_key_file_get_string(settings.get(), "Settings", "gtk-icon-theme-name", nullptr), &g_free);
            if (name && *name != '\0')
                return name.get();
        }
    return "Adwaita";
}

bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

struct Search {
    std::vector<fs::path> folders;
    std::string fileName;
    std::vector<std::string> seen;

    // Where the theme has the icon; then where its parents have it.
    std::vector<fs::path> inTheme(const std::string& theme) {
        if (!isPlainName(theme) || std::find(seen.begin(), seen.end(), theme) != seen.end())
            return {};
        seen.push_back(theme);
        std::vector<fs::path> found;
        std::vector<std::string> parents;
        for (const fs::path& folder : folders)
            if (const KeyFile index = readKeyFile(folder / theme / "index.theme")) {
                if (parents.empty())
                    parents = listOf(index.get(), "Icon Theme", "Inherits");
                for (const std::string& directory : listOf(index.get(), "Icon Theme", "Directories"))
                    add(folder / theme / directory, found);
            }
        for (auto parent = parents.begin(); found.empty() && parent != parents.end(); ++parent)
            found = inTheme(*parent);
        return found;
    }

    void add(const fs::path& directory, std::vector<fs::path>& found) const {
        std::error_code ignored;
        if (fs::is_regular_file(directory / fileName, ignored))
            found.push_back(directory / fileName);
    }
};

} // namespace

IconTheme IconTheme::ofDesktop() {
    const std::string home = environment("HOME", g_get_home_dir());
    IconTheme theme{stringWithUTF8OrLatin1(chosenTheme(home)), {}};
    std::string places = home + ":" + environment("XDG_DATA_HOME", home + "/.local/share") + ":" +
                         environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = places.find(':', begin);
        // In the home folder itself it is hidden.
        const std::string name = begin == 0 ? "/.icons" : "/icons";
        theme.folders.push_back(stringWithUTF8OrLatin1(places.substr(begin, end - begin) + name));
    }
    return theme;
}

std::vector<String> pathsOfIcon(const IconTheme& theme, StringView name) {
    const auto fileName = UTF8String(name);
    if (!fileName || !isPlainName(*fileName))
        return {};
    Search search{{}, *fileName + ".png", {}};
    for (const String& folder : theme.folders)
        search.folders.emplace_back(lossyUTF8String(folder));
    auto found = search.inTheme(lossyUTF8String(theme.name));
    if (found.empty())
        found = search.inTheme("hicolor");
    std::vector<String> paths;
    paths.reserve(found.size());
    for (const fs::path& path : found)
        paths.push_back(stringWithUTF8OrLatin1(path.string()));
    return paths;
}

} // namespace platform
