// The reader as a program: its arguments, its streams, its exit status, the files that it leaves.
#include "AppKit/ImageDecoding.h"
#include "AppKit/NSImage.h"
#include "TessaroThumbs/ThumbnailRecord.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/TemporaryFolder.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using namespace testing_support;
using platform::charactersAsBytes;
using platform::Data;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using namespace std::string_literals;

const std::filesystem::path tool = std::filesystem::path(PROGRAMS_FOLDER) / "tessaro-record";

std::string record(std::string_view identifier, std::string_view large, std::string_view medium = "",
                   std::string_view small = "") {
    char* buffer = nullptr;
    std::size_t length = 0;
    std::FILE* stream = open_memstream(&buffer, &length);
    tessaro::writeThumbnailRecord(stream, charactersAsBytes(identifier), charactersAsBytes(large),
                                  charactersAsBytes(medium), charactersAsBytes(small));
    std::fclose(stream);
    std::string bytes(buffer, length);
    std::free(buffer);
    return bytes;
}

platform::NSBitmapImageRep filled(int wide, int high, platform::NSBitmapImageRep::Pixel pixel) {
    platform::NSBitmapImageRep page(wide, high);
    for (auto& each : page.pixels())
        each = pixel;
    return page;
}

std::string tiff(int wide, int high, platform::NSBitmapImageRep::Pixel pixel = 0xFF336699) {
    const auto data = filled(wide, high, pixel).TIFFRepresentation();
    return std::string(platform::bytesAsCharacters(data.value()));
}

std::string tiffOfTwo() {
    auto image = platform::NSImage::initWithSize({32, 32});
    image.addRepresentation(std::make_shared<platform::NSBitmapImageRep>(filled(32, 32, 0xFF000000)));
    image.addRepresentation(std::make_shared<platform::NSBitmapImageRep>(filled(16, 16, 0xFFFFFFFF)));
    return std::string(platform::bytesAsCharacters(image.TIFFRepresentation().value()));
}

ProcessResult read(const std::string& stream, const std::vector<std::string>& arguments = {}) {
    ProcessOptions options;
    options.input = stream;
    return run(tool, arguments, options);
}

std::string number(std::size_t value, std::size_t width) {
    const std::string text = std::to_string(value);
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

TEST(TessaroRecord, PrintsATable) {
    const std::string large = tiff(301, 226);
    const std::string small = tiffOfTwo();
    const auto result = read(record("5A0F1E2D-0000-4000-8000-0123456789AB", large, "", small));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, "part            bytes  content\n"
                             "identifier         36  5A0F1E2D-0000-4000-8000-0123456789AB\n"
                             "large       " +
                                 number(large.size(), 9) +
                                 "  301 x 226\n"
                                 "medium              0  -\n"
                                 "small       " +
                                 number(small.size(), 9) + "  32 x 32, the largest of 2\n");
}

TEST(TessaroRecord, PrintsJSON) {
    const std::string large = tiff(301, 226);
    const std::string small = tiffOfTwo();
    const auto result = read(record("\xC3\xA9\"\x1B", large, "", small), {"--json"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output,
              "{\"identifier\": \"\xC3\xA9\\\"\\u001b\", \"identifierBytes\": 4, \"large\": {\"bytes\": " +
                  std::to_string(large.size()) +
                  ", \"width\": 301, \"height\": 226, \"pages\": 1}, \"medium\": null, \"small\": "
                  "{\"bytes\": " +
                  std::to_string(small.size()) +
                  ", \"width\": 32, \"height\": 32, \"pages\": 2}, \"skippedBytes\": 0}\n");
    // Another program's opinion of the same text.
    ProcessOptions options;
    options.input = result.output;
    EXPECT_EQ(run("python3", {"-m", "json.tool"}, options).status, 0);
}

TEST(TessaroRecord, AnIdentifierThatIsNoTextIsShownAsBytes) {
    const auto result = read(record("a\xFF", tiff(2, 2)), {"--json"});
    EXPECT_THAT(result.output, StartsWith(R"({"identifier": null, "identifierHex": "61ff", "identifierBytes": 2,)"));
    EXPECT_THAT(read(record("a\xFF", tiff(2, 2))).output, HasSubstr("identifier          2  a\\xFF\n"));
}

TEST(TessaroRecord, AHostileIdentifierCannotReachTheTerminal) {
    const auto result = read(record("\x1B]0;title\x07\n\xE2\x80\xAE../../etc", tiff(2, 2)));
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr("\\u{1b}]0;title\\u{7}\\u{a}\\u{202e}../../etc\n"));
    EXPECT_EQ(result.output.find('\x1B'), std::string::npos);
    const auto long_ = read(record(std::string(65536, 'x'), tiff(2, 2)));
    EXPECT_THAT(long_.output, HasSubstr("identifier      65536  " + std::string(60, 'x') + "...\n"));
}

struct RefusalCase {
    std::string stream;
    std::vector<std::string> arguments;
    std::string message;
};

TEST(TessaroRecord, RefusesWhatIsMalformed) {
    const std::string good = record("id", tiff(3, 2));
    const RefusalCase rows[] = {
        {"", {}, "there is no record: the stream is empty"},
        {"CCAAFFEE", {}, "the record is cut short: its head has 24 bytes, only 8 are here"},
        {"hello", {}, "this is not a record: it does not begin with CCAAFFEE"},
        {"hello", {"--skip-log"}, "there is no whole record in these 5 bytes"},
        {good.substr(0, good.size() - 1),
         {},
         "the large image reaches past the end: " + std::to_string(tiff(3, 2).size()) +
             " bytes from offset 26 on, but the last byte stands at offset " + std::to_string(good.size() - 2)},
        {good + "x",
         {},
         "bytes follow the record: it ends at offset " + std::to_string(good.size()) + ", the stream at offset " +
             std::to_string(good.size() + 1)},
        {"CCAAFFEE" + std::string(16, '\xFF'),
         {},
         "the identifier reaches past the end: 4294967295 bytes from offset 24 on, but the last byte stands at offset "
         "23"},
        {"saveThumb\n" + good, {}, "log lines (10 bytes) stand in front of the record; --skip-log accepts them"},
        {"saveThumb\n" + good + "x",
         {"--skip-log"},
         "there is no whole record in these " + std::to_string(good.size() + 11) + " bytes"},
    };
    for (const RefusalCase& row : rows)
        for (const char* form : {"", "--json"}) {
            std::vector<std::string> arguments = row.arguments;
            if (*form != '\0')
                arguments.emplace_back(form);
            const auto result = read(row.stream, arguments);
            EXPECT_EQ(result.status, 1) << row.message;
            EXPECT_EQ(result.output, "") << row.message;
            EXPECT_EQ(result.errors, "tessaro-record: " + row.message + "\n");
        }
}

TEST(TessaroRecord, SkipsLogLinesWhenAsked) {
    const auto result = read("2011-06-20 CCAAFFEE saveThumb\n" + record("id", tiff(3, 2)), {"--skip-log"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "tessaro-record: skipped 30 bytes of log lines in front of the record\n");
    EXPECT_THAT(result.output, HasSubstr("identifier          2  id\n"));
    EXPECT_THAT(read("line\n" + record("id", tiff(3, 2)), {"--skip-log", "--json"}).output,
                HasSubstr("\"skippedBytes\": 5}"));
}

TEST(TessaroRecord, SaysWhichImageIsDamaged) {
    const std::string png = "\x89PNG\r\n\x1A\n";
    const std::string good = tiff(3, 2);
    for (const std::string& damaged : {"no picture"s, png, good.substr(0, 9)}) {
        const auto result = read(record("id", good, damaged));
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "tessaro-record: the medium image is no TIFF picture that can be read\n");
        EXPECT_THAT(result.output, HasSubstr("large       " + number(good.size(), 9) + "  3 x 2\n"));
        EXPECT_THAT(result.output, HasSubstr("medium      " + number(damaged.size(), 9) + "  cannot be read\n"));
    }
}

TEST(TessaroRecord, ExtractsTheImages) {
    const TemporaryFolder folder;
    const std::string large = tiff(301, 226);
    const std::string small = tiff(16, 16, 0x80400000);
    const std::string place = (folder / "a/b").string();
    const auto result = read(record("../../outside", large, "", small), {"--extract", place});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(contentsOf(folder / "a/b/large.tiff"), large);
    EXPECT_EQ(contentsOf(folder / "a/b/small.tiff"), small);
    EXPECT_FALSE(std::filesystem::exists(folder / "a/b/medium.tiff"));
    EXPECT_THAT(result.output, HasSubstr("  301 x 226   " + place + "/large.tiff\n"));

    const auto again = read(record("", large, small), {"--extract=" + place, "--format=png", "--json"});
    EXPECT_EQ(again.status, 0) << again.errors;
    EXPECT_THAT(again.output, HasSubstr("\"file\": \"" + place + "/large.png\""));
    const std::string png = contentsOf(folder / "a/b/medium.png");
    const auto pages = platform::decodeImage(charactersAsBytes(png));
    ASSERT_EQ(pages.size(), 1u);
    EXPECT_EQ(pages[0].pixelsWide(), 16);
    EXPECT_EQ(pages[0].pixelAt(3, 3), 0x80400000u);
    // Nothing but the four files: no temporary names left.
    const std::filesystem::directory_iterator files(folder / "a/b");
    EXPECT_EQ(std::distance(begin(files), end(files)), 4);
    EXPECT_FALSE(std::filesystem::exists(folder / "outside"));
}

TEST(TessaroRecord, OtherReadersAgreeOnTheExtractedFiles) {
    const TemporaryFolder folder;
    ASSERT_EQ(read(record("", tiff(301, 226)), {"--extract", folder.path(), "--format", "tiff"}).status, 0);
    ASSERT_EQ(read(record("", tiff(301, 226)), {"--extract", folder.path(), "--format", "png"}).status, 0);
    const auto info = run("tiffinfo", {(folder / "large.tiff").string()});
    EXPECT_EQ(info.status, 0) << info.errors;
    EXPECT_THAT(info.output, HasSubstr("Image Width: 301 Image Length: 226"));
    for (const char* name : {"large.tiff", "large.png"}) {
        const auto identified = run("identify", {"-format", "%wx%h %[pixel:p{7,7}]", (folder / name).string()});
        EXPECT_EQ(identified.status, 0) << identified.errors;
        EXPECT_THAT(identified.output, StartsWith("301x226 srgb")) << name;
        EXPECT_THAT(identified.output, HasSubstr("(51,102,153")) << name;
    }
}

TEST(TessaroRecord, ReplacesALinkInsteadOfFollowingIt) {
    const TemporaryFolder folder;
    write(folder / "victim", "untouched");
    std::filesystem::create_symlink(folder / "victim", folder / "large.tiff");
    const std::string large = tiff(3, 2);
    EXPECT_EQ(read(record("", large), {"--extract", folder.path()}).status, 0);
    EXPECT_EQ(contentsOf(folder / "victim"), "untouched");
    EXPECT_FALSE(std::filesystem::is_symlink(folder / "large.tiff"));
    EXPECT_EQ(contentsOf(folder / "large.tiff"), large);
}

TEST(TessaroRecord, ADamagedImageIsWrittenAsItIsAndNotAsPNG) {
    const TemporaryFolder folder;
    EXPECT_EQ(read(record("", "damaged"), {"--extract", folder.path()}).status, 1);
    EXPECT_EQ(contentsOf(folder / "large.tiff"), "damaged");
    EXPECT_EQ(read(record("", "damaged"), {"--extract", folder.path(), "--format", "png"}).status, 1);
    EXPECT_FALSE(std::filesystem::exists(folder / "large.png"));
}

TEST(TessaroRecord, SaysWhatCannotBeReadOrWritten) {
    const TemporaryFolder folder;
    write(folder / "file", "");
    const auto missing = run(tool, {(folder / "no\x1Bsuch").string()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.errors,
              "tessaro-record: " + (folder / "no\\u{1b}such").string() + ": No such file or directory\n");
    const auto unwritable = read(record("", tiff(2, 2)), {"--extract", (folder / "file/below").string()});
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_EQ(unwritable.errors, "tessaro-record: " + (folder / "file/below").string() + ": Not a directory\n");
    const auto directory = run(tool, {folder.path()});
    EXPECT_EQ(directory.status, 1);
    EXPECT_EQ(directory.errors, "tessaro-record: " + folder.path().string() + ": Is a directory\n");
}

TEST(TessaroRecord, FailsWhenItsOutputIsFull) {
    const TemporaryFolder folder;
    write(folder / "record", record("", tiff(2, 2)));
    ProcessOptions options;
    const auto result = run("sh", {"-c", "exec \"$0\" \"$1\" > /dev/full", tool, folder / "record"}, options);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "tessaro-record: the output could not be written\n");
}

struct UsageCase {
    std::vector<std::string> arguments;
    std::string message;
};

TEST(TessaroRecord, RefusesAWrongCommandLine) {
    const UsageCase rows[] = {
        {{"--nonsense"}, "there is no such option: --nonsense"},
        {{"-j"}, "there is no such option: -j"},
        {{"--json=yes"}, "there is no such option: --json=yes"},
        {{"--extract"}, "--extract needs a value"},
        {{"--extract="}, "--extract needs a value"},
        {{"--format"}, "--format needs a value"},
        {{"--format", "gif"}, "--format takes tiff or png"},
        {{"a", "b"}, "one record at a time: there is more than one file name"},
        {{"-", "-"}, "one record at a time: there is more than one file name"},
    };
    for (const UsageCase& row : rows) {
        const auto result = read("", row.arguments);
        EXPECT_EQ(result.status, 2) << row.message;
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "tessaro-record: " + row.message + "\nTry tessaro-record --help.\n");
    }
}

TEST(TessaroRecord, TakesItsFileInEveryWay) {
    const TemporaryFolder folder;
    const std::string bytes = record("the-one", tiff(2, 2));
    write(folder / "--json", bytes);
    const std::string expected = read(bytes).output;
    EXPECT_THAT(expected, HasSubstr("the-one"));
    EXPECT_EQ(read(bytes, {"-"}).output, expected);
    EXPECT_EQ(run(tool, {folder / "--json"}).output, expected);
    const auto behindDashes = run("sh", {"-c", "cd \"$1\" && exec \"$0\" -- --json", tool, folder.path()});
    EXPECT_EQ(behindDashes.output, expected) << behindDashes.errors;
}

TEST(TessaroRecord, ExplainsItself) {
    const auto help = read("", {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* word :
         {"Usage: tessaro-record", "--json", "--extract DIR", "--format", "--skip-log", "--version", "Exit status:"})
        EXPECT_THAT(help.output, HasSubstr(word));
    const auto version = read("", {"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.output, "tessaro-record " PROJECT_VERSION "\n");
}

TEST(TessaroRecord, ReadsAPipeThatComesInPieces) {
    const TemporaryFolder folder;
    write(folder / "record", record("pieces", tiff(301, 226)));
    const auto result =
        run("sh", {"-c", "(head -c 11 \"$1\"; sleep 0.05; tail -c +12 \"$1\") | \"$0\"", tool, folder / "record"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("301 x 226"));
}

} // namespace
