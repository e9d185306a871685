#include "NSPathUtilities.h"

#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

std::string folderForTemporaryFiles() {
    const char* named = std::getenv("TMPDIR");
    return named ? named : P_tmpdir;
}

// A descriptor, or -1.
int openNameless(const std::string& folder) {
    const int file = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file != -1)
        return file;
    // Not every file system can make a file without a name.
    std::string name = folder + "/tmpf.XXXXXX";
    const int named = mkostemp(name.data(), O_CLOEXEC);
    if (named != -1)
        unlink(name.c_str());
    return named;
}

} // namespace

String NSUserName() {
    const passwd* entry = getpwuid(getuid());
    return entry && entry->pw_name ? stringWithUTF8OrLatin1(entry->pw_name) : String();
}

String NSHomeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home)
        return stringWithUTF8OrLatin1(home);
    const passwd* entry = getpwuid(geteuid());
    return entry && entry->pw_dir ? stringWithUTF8OrLatin1(entry->pw_dir) : String();
}

String NSTemporaryDirectory() {
    const std::string folder = folderForTemporaryFiles();
    struct stat status {};
    const bool usable =
        stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && access(folder.c_str(), W_OK | X_OK) == 0;
    return stringWithUTF8OrLatin1(usable ? folder : P_tmpdir);
}

std::FILE* temporaryFile() {
    const int file = openNameless(folderForTemporaryFiles());
    if (file == -1)
        return nullptr;
    std::FILE* stream = fdopen(file, "w+");
    if (!stream)
        close(file);
    return stream;
}

} // namespace platform
