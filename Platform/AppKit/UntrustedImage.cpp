#include "UntrustedImage.h"

#include "ConfinedDecoder/DecodedImage.h"
#include "ImageHeaders.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace platform {
namespace {

constexpr int patience = 4000; // milliseconds: twice the processor time that the decoder may use

class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            close(number_);
    }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    [[nodiscard]] int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

private:
    int number_;
};

// A file in memory, on a number out of the way of those that the decoder expects.
Descriptor fileInMemory(const char* name) {
    constexpr int outOfTheWay = 16;
    const Descriptor made(memfd_create(name, MFD_CLOEXEC));
    return Descriptor(made ? fcntl(made.get(), F_DUPFD_CLOEXEC, outOfTheWay) : -1);
}

bool writeAll(int file, DataView bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        if (count <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

// Beside the running program, else where it is installed.
std::string decoderPath() {
    std::array<char, 4096> self{};
    const ssize_t length = readlink("/proc/self/exe", self.data(), self.size() - 1);
    const std::string program(self.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::string beside = program.substr(0, program.find_last_of('/') + 1) + "tessaro-decode-image";
    return access(beside.c_str(), X_OK) == 0 ? beside : TESSARO_DECODER_PATH;
}

std::optional<pid_t> startDecoder(int input, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, input, decoderInput);
    posix_spawn_file_actions_adddup2(&actions, output, decoderOutput);
    posix_spawn_file_actions_addclosefrom_np(&actions, decoderOutput + 1);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::string path = decoderPath();
    // Nothing of this process's environment: a decoder needs none of it.
    std::array<char*, 2> arguments = {path.data(), nullptr};
    std::array<char*, 1> environment = {nullptr};
    pid_t decoder = -1;
    const int result = posix_spawn(&decoder, path.c_str(), &actions, &attributes, arguments.data(), environment.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return result == 0 ? std::optional(decoder) : std::nullopt;
}

// Whether it ended by itself, in time and with success. It is gone in any case.
bool waitForDecoder(pid_t decoder) {
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, decoder, 0)));
    pollfd ended{process.get(), POLLIN, 0};
    int ready = 0;
    do
        ready = process ? poll(&ended, 1, patience) : -1;
    while (ready < 0 && errno == EINTR && process);
    if (ready <= 0)
        kill(decoder, SIGKILL);
    int status = 0;
    pid_t waited = 0;
    do
        waited = waitpid(decoder, &status, 0);
    while (waited < 0 && errno == EINTR);
    return waited == decoder && WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

std::vector<NSBitmapImageRep> readAnswer(int file) {
    struct stat status {};
    if (fstat(file, &status) != 0 || status.st_size <= 0 ||
        static_cast<std::size_t>(status.st_size) > largestDecodedImage)
        return {};
    const auto size = static_cast<std::size_t>(status.st_size);
    void* bytes = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (bytes == MAP_FAILED)
        return {};
    auto representations = readDecodedImage({static_cast<const std::uint8_t*>(bytes), size});
    munmap(bytes, size);
    return representations;
}

} // namespace

std::optional<NSImage> imageWithUntrustedData(DataView data) {
    if (!sniffImageType(data))
        return std::nullopt;
    const Descriptor input = fileInMemory("image");
    const Descriptor output = fileInMemory("pixels");
    if (!input || !output || !writeAll(input.get(), data))
        return std::nullopt;
    const auto decoder = startDecoder(input.get(), output.get());
    if (!decoder || !waitForDecoder(*decoder))
        return std::nullopt;
    std::vector<NSBitmapImageRep> representations = readAnswer(output.get());
    if (representations.empty())
        return std::nullopt;
    NSImage image = NSImage::initWithSize(representations.front().size());
    for (NSBitmapImageRep& each : representations)
        image.addRepresentation(std::make_shared<const NSBitmapImageRep>(std::move(each)));
    return image;
}

} // namespace platform
