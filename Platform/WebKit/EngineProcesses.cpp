#include "WebKit/EngineProcesses.h"

#include <fstream>
#include <glib-unix.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {
namespace {

// The kernel keeps 15 characters of a program's name.
constexpr const char* networkProcessName = "WebKitNetworkPr";

pid_t networkProcess() {
    const std::string pid = std::to_string(getpid());
    // A child belongs to the thread that started it; the engine starts this one from the main thread.
    std::ifstream children("/proc/" + pid + "/task/" + pid + "/children");
    for (pid_t child = 0; children >> child;) {
        std::string name;
        std::getline(std::ifstream("/proc/" + std::to_string(child) + "/comm"), name);
        if (name == networkProcessName)
            return child;
    }
    return 0;
}

gboolean reportEnd(gint descriptor, GIOCondition, gpointer data) {
    close(descriptor);
    (*static_cast<std::function<void()>*>(data))();
    return G_SOURCE_REMOVE;
}

void deleteCallback(gpointer data) {
    delete static_cast<std::function<void()>*>(data);
}

} // namespace

bool watchNetworkProcess(std::function<void()> ended) {
    const pid_t process = networkProcess();
    const int descriptor = process > 0 ? static_cast<int>(syscall(SYS_pidfd_open, process, 0)) : -1;
    if (descriptor < 0)
        return false;
    // A descriptor of a process is readable once the process has ended.
    g_unix_fd_add_full(G_PRIORITY_DEFAULT, descriptor, G_IO_IN, reportEnd, new std::function<void()>(std::move(ended)),
                       deleteCallback);
    return true;
}

} // namespace platform
