// An entry is a file named by the SHA-256 of its URL: the line "TessaroResponse1", the SHA-256 of the rest in
// hexadecimal and a line feed, the length of the URL and the status as decimal numbers, each with a line feed behind
// it, the URL, the body. It is written under a name of its own and then renamed, and so is never seen half-written;
// the digest finds what a full disk or a lost power supply made of it.
#include "NSURLCache.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <glib.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr std::string_view magic = "TessaroResponse1\n";
constexpr std::string_view unfinishedPrefix = "new-";
constexpr std::size_t digestCharacters = 64;
constexpr std::size_t block = 4096;
constexpr std::time_t unfinishedForGood = 3600; // seconds: whoever began it was killed

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

private:
    int number_;
};

struct CloseListing {
    void operator()(DIR* listing) const { closedir(listing); }
};

std::string digest(std::string_view bytes) {
    const std::unique_ptr<gchar, decltype(&g_free)> text(
        g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(bytes.data()), bytes.size()),
        g_free);
    return text.get();
}

std::string entryName(StringView url) {
    return digest(lossyUTF8String(url));
}

std::optional<std::string> contentsOf(int file, std::size_t limit) {
    struct stat status {};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || static_cast<std::size_t>(status.st_size) > limit)
        return std::nullopt;
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t length = 0;
    while (length < contents.size()) {
        const ssize_t count = read(file, contents.data() + length, contents.size() - length);
        if (count <= 0)
            return std::nullopt;
        length += static_cast<std::size_t>(count);
    }
    return contents;
}

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// The decimal number before the next line feed.
std::optional<std::size_t> takeNumber(std::string_view& text) {
    std::size_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    const auto length = static_cast<std::size_t>(result.ptr - text.data());
    if (result.ec != std::errc() || length == text.size() || *result.ptr != '\n')
        return std::nullopt;
    text.remove_prefix(length + 1);
    return value;
}

std::optional<NSCachedURLResponse> parsedEntry(std::string_view entry, StringView url) {
    if (!entry.starts_with(magic) || entry.size() < magic.size() + digestCharacters + 1)
        return std::nullopt;
    const std::string_view written = entry.substr(magic.size(), digestCharacters);
    std::string_view rest = entry.substr(magic.size() + digestCharacters + 1);
    if (digest(rest) != written)
        return std::nullopt;
    const auto urlLength = takeNumber(rest);
    const auto status = urlLength ? takeNumber(rest) : std::nullopt;
    if (!status || rest.substr(0, std::min(*urlLength, rest.size())) != lossyUTF8String(url))
        return std::nullopt;
    const DataView body = charactersAsBytes(rest.substr(*urlLength));
    return NSCachedURLResponse{static_cast<int>(*status), Data(body.begin(), body.end())};
}

std::string writtenEntry(const NSCachedURLResponse& response, StringView url) {
    const std::string urlBytes = lossyUTF8String(url);
    std::string rest = std::to_string(urlBytes.size()) + '\n' + std::to_string(response.statusCode) + '\n' + urlBytes;
    rest += bytesAsCharacters(response.data);
    return std::string(magic) + digest(rest) + '\n' + rest;
}

// The folder with its parents, for the user alone where it does not exist yet.
void makeFolder(const std::string& path) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0700);
    mkdir(path.c_str(), 0700);
}

} // namespace

NSURLCache NSURLCache::sharedURLCache() {
    const char* base = std::getenv("XDG_CACHE_HOME");
    const std::string parent = base && *base == '/' ? base : lossyUTF8String(stringByExpandingTildeInPath(u"~/.cache"));
    return {parent + "/tessaro-thumbs/responses", std::size_t{16} << 20};
}

int NSURLCache::openFolder(bool create) const {
    if (!folder_.starts_with('/'))
        return -1;
    if (create)
        makeFolder(folder_);
    const int folder = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat status {};
    if (folder >= 0 && fstat(folder, &status) == 0 && status.st_uid == geteuid() &&
        ((status.st_mode & 077) == 0 || fchmod(folder, 0700) == 0))
        return folder;
    if (folder >= 0)
        close(folder);
    return -1;
}

std::optional<NSCachedURLResponse> NSURLCache::cachedResponseForURL(StringView url) const {
    const Descriptor folder(openFolder(false));
    if (!folder)
        return std::nullopt;
    const Descriptor file(openat(folder.get(), entryName(url).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    const auto contents = file ? contentsOf(file.get(), capacity_) : std::nullopt;
    auto response = contents ? parsedEntry(*contents, url) : std::nullopt;
    if (response)
        futimens(file.get(), nullptr); // it was used just now
    return response;
}

void NSURLCache::storeCachedResponse_forURL(const NSCachedURLResponse& response, StringView url) const {
    const std::string entry = writtenEntry(response, url);
    const Descriptor folder(entry.size() <= capacity_ ? openFolder(true) : -1);
    if (!folder)
        return;
    const std::string unfinished =
        std::string(unfinishedPrefix) + std::to_string(getpid()) + '-' + std::to_string(g_random_int());
    const Descriptor file(openat(folder.get(), unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file)
        return;
    if (!writeAll(file.get(), entry) ||
        renameat(folder.get(), unfinished.c_str(), folder.get(), entryName(url).c_str()) != 0)
        unlinkat(folder.get(), unfinished.c_str(), 0);
    trim(folder.get());
}

void NSURLCache::trim(int folder) const {
    struct Entry {
        std::string name;
        timespec used;
        std::size_t size;
    };
    // A descriptor of its own: closing the listing closes it.
    const int forReading = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<DIR, CloseListing> listing(forReading >= 0 ? fdopendir(forReading) : nullptr);
    if (!listing)
        return;
    std::vector<Entry> entries;
    std::size_t total = 0;
    while (const dirent* item = readdir(listing.get())) {
        const std::string name = item->d_name;
        struct stat status {};
        if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode))
            continue;
        if (name.starts_with(unfinishedPrefix)) {
            if (status.st_mtim.tv_sec + unfinishedForGood < std::time(nullptr))
                unlinkat(folder, name.c_str(), 0);
            continue;
        }
        entries.push_back({name, status.st_mtim, std::max(block, static_cast<std::size_t>(status.st_size))});
        total += entries.back().size;
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return a.used.tv_sec != b.used.tv_sec ? a.used.tv_sec < b.used.tv_sec : a.used.tv_nsec < b.used.tv_nsec;
    });
    for (auto entry = entries.begin(); entry != entries.end() && total > capacity_; ++entry) {
        unlinkat(folder, entry->name.c_str(), 0);
        total -= entry->size;
    }
}

} // namespace platform
