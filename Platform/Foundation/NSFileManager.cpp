#include "NSFileManager.h"

#include <cerrno>
#include <sys/stat.h>

namespace platform {
namespace {

std::optional<std::string> fileSystemPath(StringView path) {
    auto bytes = UTF8String(path);
    if (!bytes || bytes->empty() || bytes->find('\0') != std::string::npos)
        return std::nullopt;
    return bytes;
}

bool isDirectory(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Returns 0 or an errno value.
int makeDirectory(const std::string& path) {
    return mkdir(path.c_str(), 0777) == 0 ? 0 : errno;
}

int makeDirectoryAndParents(const std::string& path) {
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string part = path.substr(0, slash);
        const int failure = makeDirectory(part);
        // Another process may have made it meanwhile, and a parent may be read-only but there.
        if (failure != 0 && !isDirectory(part))
            return failure;
        if (slash == std::string::npos)
            return 0;
    }
}

} // namespace

bool NSFileManager::fileExistsAtPath(StringView path) const {
    const auto bytes = fileSystemPath(path);
    struct stat status {};
    return bytes && stat(bytes->c_str(), &status) == 0;
}

bool NSFileManager::createDirectoryAtPath_withIntermediateDirectories_error(StringView path, bool withIntermediates,
                                                                            NSErrorPointer error) const {
    const auto bytes = fileSystemPath(path);
    const int failure = !bytes ? ENOENT : withIntermediates ? makeDirectoryAndParents(*bytes) : makeDirectory(*bytes);
    if (failure != 0 && error)
        *error = NSError(NSPOSIXErrorDomain, failure);
    return failure == 0;
}

} // namespace platform
