#include "brimle/BRFiles.h"

#include "../Support/LogFile.h"

#include <gmock/gmock.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace brimle {
namespace {

using platform::lossyUTF8String;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::LogFile;
using testing_support::TemporaryFolder;

String text(const std::filesystem::path& path) {
    return path.u16string();
}

VolumeRule rule(String root, std::vector<String> mounted) {
    VolumeRule made;
    made.root = std::move(root);
    made.mountedLocalVolumePaths = [mounted = std::move(mounted)] { return mounted; };
    return made;
}

TEST(BRFiles, IdentifiersAreNewAndInTheCanonicalForm) {
    std::set<String> seen;
    for (int i = 0; i < 1000; ++i) {
        const String made = createUUID();
        ASSERT_EQ(made.size(), 36u);
        for (std::size_t at = 0; at < made.size(); ++at) {
            const bool hyphen = at == 8 || at == 13 || at == 18 || at == 23;
            const bool digit = StringView(u"0123456789ABCDEF").find(made[at]) != StringView::npos;
            ASSERT_TRUE(hyphen ? made[at] == u'-' : digit) << lossyUTF8String(made);
        }
        EXPECT_EQ(made[14], u'4') << "random identifiers are of version 4";
        EXPECT_TRUE(seen.insert(made).second) << lossyUTF8String(made);
    }
}

struct ItemPath {
    const char16_t* path;
    const char16_t* folder;
    const char16_t* title;
};

TEST(BRFiles, ItemPathsSplitAtTheLastBackslash) {
    const ItemPath rows[] = {
        {u"A\\B\\C", u"A\\B", u"C"},
        {u"A\\B", u"A", u"B"},
        {u"A\\B\\\\", u"A", u"B"},
        {u"A\\B\\", u"A", u"B"},
        {u"A", u"", u"A"},
        {u"A\\", u"", u"A"},
        {u"", u"", u""},
        {u"\\", u"", u""},
        {u"\\\\\\", u"", u""},
        {u"A\\\\B", u"A\\", u"B"},
        {u"A\\\\\\B\\\\", u"A\\\\", u"B"},
        {u"\\A", u"", u"A"},
        {u"\\\\A", u"\\", u"A"},
        {u"a/b\\c/d", u"a/b", u"c/d"},
        {u"a/b/c", u"", u"a/b/c"},
        {u"日本\\語 é", u"日本", u"語 é"},
        {u" \\ ", u" ", u" "},
    };
    for (const ItemPath& row : rows) {
        const NSDictionary expected = {{u"folder", String(row.folder)}, {u"title", String(row.title)}};
        EXPECT_EQ(extractFolderAndTitle(row.path), expected) << lossyUTF8String(row.path);
    }
}

TEST(BRFiles, NoItemPathGivesNoKeys) {
    EXPECT_EQ(extractFolderAndTitle(std::nullopt).count(), 0u);
}

TEST(BRFiles, SplittingAMillionBackslashesIsQuick) {
    EXPECT_EQ(extractFolderAndTitle(String(1'000'000, u'\\') + u"x").stringForKey(u"title"), u"x");
    EXPECT_EQ(extractFolderAndTitle(String(1'000'000, u'\\')).stringForKey(u"folder"), u"");
}

TEST(BRFiles, FoldersAreMadeWithTheirParents) {
    const TemporaryFolder folder;
    const LogFile log;
    EXPECT_TRUE(createDirectory(text(folder / "a/b c/é")));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a/b c/é"));
    EXPECT_TRUE(createDirectory(text(folder / "a/b c/é"))) << "a folder that is there is a success";
    EXPECT_TRUE(createDirectoryForFile(text(folder / "f/g/c.txt")));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "f/g"));
    EXPECT_FALSE(std::filesystem::exists(folder / "f/g/c.txt"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(BRFiles, FoldersAreMadeByURL) {
    const TemporaryFolder folder;
    const auto url = [&](const char16_t* rest) {
        return NSURL::URLWithString(u"file://" + folder.path().u16string() + rest).value();
    };
    EXPECT_TRUE(createDirectoryForFileURL(url(u"/one/two/file%20name.txt")));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "one/two"));
    EXPECT_FALSE(std::filesystem::exists(folder / "one/two/file name.txt"));
    EXPECT_TRUE(createDirectoryForFileURL(url(u"/three/four/")));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "three"));
    EXPECT_FALSE(std::filesystem::exists(folder / "three/four"));
    EXPECT_TRUE(createDirectoryForURL(url(u"/five/six%20seven")));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "five/six seven"));
    EXPECT_TRUE(fileExistsAtURL(url(u"/five/six%20seven"))) << "a folder counts";
    EXPECT_TRUE(fileExistsAtURL(url(u"/five/six%20seven/")));
    EXPECT_FALSE(fileExistsAtURL(url(u"/five/six")));
    testing_support::write(folder / "file", "x");
    EXPECT_TRUE(fileExistsAtURL(url(u"/file")));
    EXPECT_FALSE(fileExistsAtURL(url(u"/file%00")));
    std::filesystem::create_symlink(folder / "nowhere", folder / "dangling");
    EXPECT_FALSE(fileExistsAtURL(url(u"/dangling"))) << "links are followed";
    EXPECT_FALSE(fileExistsAtURL(NSURL::URLWithString(u"mailto:a@example.org").value()));
}

TEST(BRFiles, FailuresAreLoggedWithTheError) {
    const TemporaryFolder folder;
    testing_support::write(folder / "file", "x");
    const LogFile log;
    const std::string below = (folder / "file/below").string();
    EXPECT_FALSE(createDirectory(text(below)));
    EXPECT_FALSE(createDirectory(u""));
    EXPECT_FALSE(createDirectory(std::nullopt));
    EXPECT_FALSE(createDirectoryForFile(std::nullopt));
    EXPECT_FALSE(createDirectoryForFile(u"name")) << "a name alone has no folder to make";
    EXPECT_FALSE(createDirectory(String(u"/tmp/\xD800")));
    EXPECT_FALSE(createDirectoryForURL(NSURL::URLWithString(u"mailto:a@example.org").value()));
    const std::string missing = "Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\"";
    EXPECT_THAT(log.messages(), ElementsAre("Failed to create directory '" + below +
                                                "': Error Domain=NSPOSIXErrorDomain Code=17 \"File exists\"",
                                            "Failed to create directory '': " + missing,
                                            "Failed to create directory '(null)': " + missing,
                                            "Failed to create directory '(null)': " + missing,
                                            "Failed to create directory '': " + missing,
                                            "Failed to create directory '/tmp/\xEF\xBF\xBD': " + missing,
                                            "Failed to create directory '(null)': " + missing));
}

struct VolumeCase {
    const char* path; // below the temporary folder
    std::vector<const char*> mounted;
    bool allowed;
};

TEST(BRFiles, BelowTheVolumesOnlyMountedOnesAreWrittenTo) {
    const VolumeCase rows[] = {
        {"/Volumes/USB/x", {}, false},
        {"/Volumes/USB/x", {"/Volumes/Other"}, false},
        {"/Volumes/USB/x", {"/Volumes/Other", "/Volumes/USB"}, true},
        {"/Volumes/USB2/x", {"/Volumes/USB"}, true},
        {"/Volumes", {"/Volumes/USB"}, false},
        {"/VolumesX/y", {"/Volumes/USB"}, false},
        {"/volumes/y", {}, true},
        {"/other/y", {}, true},
    };
    for (const VolumeCase& row : rows) {
        const TemporaryFolder folder;
        const LogFile log;
        std::vector<String> mounted;
        for (const char* volume : row.mounted)
            mounted.push_back(text(folder.path().string() + volume));
        const std::string path = folder.path().string() + row.path;
        const bool made = createDirectory(text(path), rule(text(folder / "Volumes"), mounted));
        EXPECT_EQ(made, row.allowed) << row.path;
        EXPECT_EQ(std::filesystem::exists(path), row.allowed) << row.path;
        EXPECT_EQ(std::filesystem::is_empty(folder.path()), !row.allowed) << row.path;
        if (row.allowed)
            EXPECT_THAT(log.messages(), IsEmpty()) << row.path;
        else
            EXPECT_THAT(log.messages(), ElementsAre(testing::StartsWith("Failed to create directory '" + path +
                                                                        "': Error Domain=NSPOSIXErrorDomain Code=0 ")))
                << row.path;
    }
}

TEST(BRFiles, TheOtherFormsKeepTheRuleOfTheVolumes) {
    const TemporaryFolder folder;
    const LogFile log;
    const VolumeRule none = rule(text(folder.path()), {});
    const NSURL url = NSURL::URLWithString(u"file://" + text(folder / "a/b")).value();
    EXPECT_FALSE(createDirectoryForFile(text(folder / "a/b"), none));
    EXPECT_FALSE(createDirectoryForFileURL(url, none));
    EXPECT_FALSE(createDirectoryForURL(url, none));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    EXPECT_EQ(log.messages().size(), 3u);
}

TEST(BRFiles, AnUnmountedVolumeOfTheMachineIsRefused) {
    const LogFile log;
    EXPECT_EQ(mountedVolumeRule().root, u"/Volumes");
    EXPECT_FALSE(createDirectory(u"/Volumes/tessaro-test-not-mounted/x"));
    EXPECT_FALSE(std::filesystem::exists("/Volumes/tessaro-test-not-mounted"));
    EXPECT_EQ(log.messages().size(), 1u);
}

} // namespace
} // namespace brimle
