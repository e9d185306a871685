#include "Foundation/NSURLCache.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace platform {
namespace {

using testing_support::ChildProcess;
using testing_support::contentsOf;
using testing_support::TemporaryFolder;

NSCachedURLResponse response(std::size_t bytes, std::uint8_t value = 'x') {
    return {200, Data(bytes, value)};
}

class URLCache : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path onlyFile() const {
        std::filesystem::path found;
        for (const auto& entry : std::filesystem::directory_iterator(folder_ / "a/b"))
            found = entry.path();
        return found;
    }
    [[nodiscard]] std::size_t files() const {
        const std::filesystem::directory_iterator all(folder_ / "a/b");
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }

    TemporaryFolder folder_;
    NSURLCache cache_{folder_ / "a/b", std::size_t{1} << 20};
};

TEST_F(URLCache, KeepsAndReplaces) {
    EXPECT_FALSE(cache_.cachedResponseForURL(u"http://a/"));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "a")) << "looking makes no folder";
    const NSCachedURLResponse first{404, {0, 1, '\n', 255}};
    cache_.storeCachedResponse_forURL(first, u"http://a/");
    EXPECT_EQ(cache_.cachedResponseForURL(u"http://a/"), first);
    EXPECT_FALSE(cache_.cachedResponseForURL(u"http://a"));
    cache_.storeCachedResponse_forURL(response(0), u"http://a/");
    EXPECT_EQ(cache_.cachedResponseForURL(u"http://a/"), response(0));
    EXPECT_EQ(files(), 1u);
}

TEST_F(URLCache, IsForItsUserAlone) {
    const auto modeOf = [](const std::filesystem::path& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status.st_mode & 0777;
    };
    umask(0);
    cache_.storeCachedResponse_forURL(response(9), u"http://a/");
    umask(022);
    EXPECT_EQ(modeOf(folder_ / "a/b"), 0700u);
    EXPECT_EQ(modeOf(onlyFile()), 0600u);
    ASSERT_EQ(chmod((folder_ / "a/b").c_str(), 0755), 0);
    EXPECT_TRUE(cache_.cachedResponseForURL(u"http://a/"));
    EXPECT_EQ(modeOf(folder_ / "a/b"), 0700u) << "made so when it is not";
}

TEST_F(URLCache, ADamagedEntryIsNone) {
    cache_.storeCachedResponse_forURL(response(100), u"http://a/");
    const auto file = onlyFile();
    const std::string whole = contentsOf(file);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        testing_support::write(file, whole.substr(0, length));
        EXPECT_FALSE(cache_.cachedResponseForURL(u"http://a/")) << length;
    }
    for (std::size_t i = 0; i < whole.size(); ++i) {
        std::string changed = whole;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        testing_support::write(file, changed);
        const auto read = cache_.cachedResponseForURL(u"http://a/");
        EXPECT_TRUE(!read || *read == response(100)) << i;
    }
    testing_support::write(file, whole + "x");
    EXPECT_FALSE(cache_.cachedResponseForURL(u"http://a/"));
    testing_support::write(file, whole);
    EXPECT_TRUE(cache_.cachedResponseForURL(u"http://a/"));
    // Another URL's entry under this name.
    cache_.storeCachedResponse_forURL(response(7), u"http://b/");
    std::filesystem::path other;
    for (const auto& entry : std::filesystem::directory_iterator(folder_ / "a/b"))
        if (entry.path() != file)
            other = entry.path();
    std::filesystem::rename(file, other);
    EXPECT_FALSE(cache_.cachedResponseForURL(u"http://b/"));
}

TEST_F(URLCache, StaysWithinItsCapacity) {
    for (int i = 0; i < 40; ++i) {
        cache_.storeCachedResponse_forURL(response(100'000), u"http://a/" + String(static_cast<std::size_t>(i), u'i'));
        (void)cache_.cachedResponseForURL(u"http://a/"); // used again and again: it stays
    }
    EXPECT_EQ(files(), 10u);
    EXPECT_TRUE(cache_.cachedResponseForURL(u"http://a/"));
    EXPECT_FALSE(cache_.cachedResponseForURL(u"http://a/i"));
    EXPECT_TRUE(cache_.cachedResponseForURL(u"http://a/" + String(39, u'i')));
    cache_.storeCachedResponse_forURL(response(std::size_t{1} << 20), u"http://large/");
    EXPECT_FALSE(cache_.cachedResponseForURL(u"http://large/"));
    EXPECT_EQ(files(), 10u);
}

TEST_F(URLCache, RemovesWhatAKilledProcessLeft) {
    cache_.storeCachedResponse_forURL(response(1), u"http://a/");
    const auto left = folder_ / "a/b" / "new-1-1";
    const auto recent = folder_ / "a/b" / "new-1-2";
    testing_support::write(left, "x");
    testing_support::write(recent, "x");
    std::filesystem::last_write_time(left, std::filesystem::file_time_type::clock::now() - std::chrono::hours(2));
    cache_.storeCachedResponse_forURL(response(1), u"http://b/");
    EXPECT_FALSE(std::filesystem::exists(left));
    EXPECT_TRUE(std::filesystem::exists(recent)) << "somebody may be writing it";
}

TEST_F(URLCache, WithoutAFolderOfItsOwnItKeepsNothing) {
    testing_support::write(folder_ / "file", "x");
    for (const std::string& path :
         {(folder_ / "file/b").string(), std::string("relative"), std::string("/proc/none"), std::string()}) {
        const NSURLCache cache(path, 1000);
        cache.storeCachedResponse_forURL(response(1), u"http://a/");
        EXPECT_FALSE(cache.cachedResponseForURL(u"http://a/")) << path;
    }
    std::filesystem::create_directory(folder_ / "target");
    std::filesystem::create_directory_symlink(folder_ / "target", folder_ / "link");
    const NSURLCache linked(folder_ / "link", 1000);
    linked.storeCachedResponse_forURL(response(1), u"http://a/");
    EXPECT_TRUE(std::filesystem::is_empty(folder_ / "target"));
}

TEST_F(URLCache, StandsWhereTheSystemKeepsCaches) {
    {
        const testing_support::EnvironmentVariable variable("XDG_CACHE_HOME", "/x/y");
        EXPECT_EQ(NSURLCache::sharedURLCache().folder(), "/x/y/tessaro-thumbs/responses");
    }
    const testing_support::EnvironmentVariable home("HOME", "/h");
    for (const char* unusable : {static_cast<const char*>(nullptr), "", "relative"}) {
        const testing_support::EnvironmentVariable variable("XDG_CACHE_HOME", unusable);
        EXPECT_EQ(NSURLCache::sharedURLCache().folder(), "/h/.cache/tessaro-thumbs/responses");
    }
}

// Several processes write and read the same few entries, and are killed at any moment: what is read is always whole.
TEST_F(URLCache, SurvivesManyProcessesAndTheirDeaths) {
    constexpr std::size_t urls = 3;
    const auto work = [this] {
        std::minstd_rand random(static_cast<unsigned>(getpid()));
        ChildProcess::sayReady();
        for (int round = 0; round < 100'000; ++round) {
            const String url = u"http://a/" + String(random() % urls, u'i');
            const auto value = static_cast<std::uint8_t>('a' + random() % 26);
            cache_.storeCachedResponse_forURL(response(1 + random() % 60'000, value), url);
            const auto read = cache_.cachedResponseForURL(url);
            if (read && (read->data.empty() || std::count(read->data.begin(), read->data.end(), read->data[0]) !=
                                                   static_cast<std::ptrdiff_t>(read->data.size())))
                _exit(1);
        }
    };
    std::minstd_rand random(11);
    for (int round = 0; round < 25; ++round) {
        std::vector<std::unique_ptr<ChildProcess>> children;
        for (int i = 0; i < 4; ++i) {
            children.push_back(std::make_unique<ChildProcess>(work));
            children.back()->waitUntilReady();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
        for (const auto& child : children) {
            child->sendSignal(SIGKILL);
            const auto end = child->waitForEnd();
            EXPECT_EQ(end.signal, SIGKILL) << "a child found an entry that was not whole, " << end.exitStatus;
        }
    }
    const auto read = cache_.cachedResponseForURL(u"http://a/");
    EXPECT_TRUE(!read || !read->data.empty());
}

} // namespace
} // namespace platform
