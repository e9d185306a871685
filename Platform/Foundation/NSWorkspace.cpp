#include "NSWorkspace.h"

#include <libmount/libmount.h>
#include <memory>

namespace platform {
namespace {

struct Deleter {
    void operator()(libmnt_table* table) const { mnt_unref_table(table); }
    void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

bool isLocalVolume(libmnt_fs* fileSystem) {
    return mnt_fs_is_pseudofs(fileSystem) == 0 && mnt_fs_is_netfs(fileSystem) == 0 &&
           mnt_fs_is_swaparea(fileSystem) == 0;
}

} // namespace

std::vector<String> NSWorkspace::mountedLocalVolumePaths() const {
    const std::unique_ptr<libmnt_table, Deleter> table(mnt_new_table_from_file(mountTable_.c_str()));
    const std::unique_ptr<libmnt_iter, Deleter> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    std::vector<String> paths;
    if (!table || !iterator)
        return paths;
    libmnt_fs* fileSystem = nullptr;
    while (mnt_table_next_fs(table.get(), iterator.get(), &fileSystem) == 0) {
        const char* target = mnt_fs_get_target(fileSystem);
        const std::string_view path = target ? target : "";
        if (path.starts_with('/') && path != "/" && isLocalVolume(fileSystem))
            paths.push_back(stringWithUTF8OrLatin1(path));
    }
    return paths;
}

} // namespace platform
