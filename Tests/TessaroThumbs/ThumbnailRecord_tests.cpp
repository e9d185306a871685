#include "TessaroThumbs/ThumbnailRecord.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/mman.h>

namespace tessaro {
namespace {

using platform::charactersAsBytes;
using platform::Data;
using platform::DataView;
using platform::lossyUTF8String;
using platform::NSError;
using namespace std::string_literals;

Data written(DataView identifier, DataView large, DataView medium, DataView small) {
    char* buffer = nullptr;
    std::size_t length = 0;
    std::FILE* stream = open_memstream(&buffer, &length);
    writeThumbnailRecord(stream, identifier, large, medium, small);
    std::fclose(stream);
    Data bytes(buffer, buffer + length);
    std::free(buffer);
    return bytes;
}

Data written(std::string_view identifier, std::string_view large, std::string_view medium, std::string_view small) {
    return written(charactersAsBytes(identifier), charactersAsBytes(large), charactersAsBytes(medium),
                   charactersAsBytes(small));
}

std::string text(DataView bytes) {
    return std::string(platform::bytesAsCharacters(bytes));
}

struct LayoutCase {
    std::string identifier, large, medium, small;
    std::string bytes;
};

TEST(ThumbnailRecord, WritesEveryPartInItsPlace) {
    const std::string uuid = "5A0F1E2D-0000-4000-8000-0123456789AB";
    const LayoutCase rows[] = {
        {"", "", "", "", "CCAAFFEE"s + std::string(16, '\0')},
        {"i", "", "", "", "CCAAFFEE\1\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0i"s},
        {"", "l", "", "", "CCAAFFEE\0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0l"s},
        {"", "", "m", "", "CCAAFFEE\0\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0m"s},
        {"", "", "", "s", "CCAAFFEE\0\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0s"s},
        {"i", "ll", "mmm", "ssss", "CCAAFFEE\1\0\0\0\2\0\0\0\3\0\0\0\4\0\0\0illmmmssss"s},
        {"\xC3\xA9", "L", "", "", "CCAAFFEE\2\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\xC3\xA9L"s},
        {uuid, "L", "", "", "CCAAFFEE\x24\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0"s + uuid + "L"},
        {"", std::string(0x012345, 'x'), "", "",
         "CCAAFFEE\0\0\0\0\x45\x23\x01\0\0\0\0\0\0\0\0\0"s + std::string(0x012345, 'x')},
    };
    for (const LayoutCase& row : rows)
        EXPECT_EQ(text(written(row.identifier, row.large, row.medium, row.small)), row.bytes) << row.identifier;
}

TEST(ThumbnailRecord, ReadsBackWhatItWrote) {
    const std::string all[] = {"", "a", "CCAAFFEE", "\0\0"s, std::string(70000, '\xFE')};
    for (const std::string& identifier : all)
        for (const std::string& large : all)
            for (const std::string& medium : all)
                for (const std::string& small : all) {
                    const Data bytes = written(identifier, large, medium, small);
                    std::optional<NSError> error;
                    const auto record = readThumbnailRecord(bytes, &error);
                    ASSERT_TRUE(record) << lossyUTF8String(error->localizedDescription());
                    EXPECT_FALSE(error);
                    EXPECT_EQ(text(record->identifier), identifier);
                    EXPECT_EQ(text(record->large), large);
                    EXPECT_EQ(text(record->medium), medium);
                    EXPECT_EQ(text(record->small), small);
                    EXPECT_EQ(findThumbnailRecord(bytes), 0u);
                }
}

struct RefusalCase {
    std::string bytes;
    ThumbnailRecordErrorCode code;
    const char* message;
};

TEST(ThumbnailRecord, RefusesWhatIsMalformed) {
    const std::string head = "CCAAFFEE";
    const RefusalCase rows[] = {
        {"", ThumbnailRecordEmpty, "there is no record: the stream is empty"},
        {"C", ThumbnailRecordCutShort, "the record is cut short: its head has 24 bytes, only 1 are here"},
        {head, ThumbnailRecordCutShort, "the record is cut short: its head has 24 bytes, only 8 are here"},
        {head + std::string(15, '\0'), ThumbnailRecordCutShort,
         "the record is cut short: its head has 24 bytes, only 23 are here"},
        {"X", ThumbnailRecordNoMagic, "this is not a record: it does not begin with CCAAFFEE"},
        {"CCAAFFEe" + std::string(16, '\0'), ThumbnailRecordNoMagic,
         "this is not a record: it does not begin with CCAAFFEE"},
        {"line\n" + head + std::string(16, '\0'), ThumbnailRecordNoMagic,
         "this is not a record: it does not begin with CCAAFFEE"},
        {head + "\1\0\0\0"s + std::string(12, '\0'), ThumbnailRecordPastEnd,
         "the identifier reaches past the end: 1 bytes from offset 24 on, but the last byte stands at offset 23"},
        {head + "\1\0\0\0\2\0\0\0"s + std::string(8, '\0') + "ab", ThumbnailRecordPastEnd,
         "the large image reaches past the end: 2 bytes from offset 25 on, but the last byte stands at offset 25"},
        {head + std::string(8, '\0') + "\4\0\0\0\0\0\0\0"s + "abc", ThumbnailRecordPastEnd,
         "the medium image reaches past the end: 4 bytes from offset 24 on, but the last byte stands at offset 26"},
        {head + std::string(15, '\0') + "\x80"s + "abc", ThumbnailRecordPastEnd,
         "the small image reaches past the end: 2147483648 bytes from offset 24 on, but the last byte stands at offset "
         "26"},
        {head + std::string(16, '\0') + "abc", ThumbnailRecordTrailing,
         "bytes follow the record: it ends at offset 24, the stream at offset 27"},
        // Sums that a 32-bit reader would take for 24, 27 and 24 again.
        {head + "\0\0\0\0\0\0\0\x80\0\0\0\x80\0\0\0\0"s, ThumbnailRecordPastEnd,
         "the large image reaches past the end: 2147483648 bytes from offset 24 on, but the last byte stands at offset "
         "23"},
        {head + "\1\0\0\0\1\0\0\0\1\0\0\0\0\0\0\0"s + "ab", ThumbnailRecordPastEnd,
         "the medium image reaches past the end: 1 bytes from offset 26 on, but the last byte stands at offset 25"},
        {head + "\3\0\0\0\xFD\xFF\xFF\xFF\0\0\0\0\0\0\0\0"s + "abc", ThumbnailRecordPastEnd,
         "the large image reaches past the end: 4294967293 bytes from offset 27 on, but the last byte stands at offset "
         "26"},
        {head + std::string(16, '\xFF'), ThumbnailRecordPastEnd,
         "the identifier reaches past the end: 4294967295 bytes from offset 24 on, but the last byte stands at offset "
         "23"},
    };
    for (const RefusalCase& row : rows) {
        std::optional<NSError> error;
        EXPECT_FALSE(readThumbnailRecord(charactersAsBytes(row.bytes), &error)) << row.message;
        ASSERT_TRUE(error) << row.message;
        EXPECT_EQ(error->domain(), ThumbnailRecordErrorDomain);
        EXPECT_EQ(error->code(), row.code) << row.message;
        EXPECT_EQ(lossyUTF8String(error->localizedDescription()), row.message);
        EXPECT_FALSE(readThumbnailRecord(charactersAsBytes(row.bytes), nullptr));
    }
}

TEST(ThumbnailRecord, EveryShorterAndEveryLongerStreamIsRefused) {
    const Data whole = written("id", "large", "medium", "small");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(readThumbnailRecord(DataView(whole).first(length), nullptr)) << length;
        EXPECT_FALSE(findThumbnailRecord(DataView(whole).first(length))) << length;
    }
    Data longer = whole;
    for (int i = 0; i < 40; ++i) {
        longer.push_back('C');
        EXPECT_FALSE(readThumbnailRecord(longer, nullptr)) << i;
        EXPECT_FALSE(findThumbnailRecord(longer)) << i;
    }
}

struct SearchCase {
    std::string stream;
    std::optional<std::size_t> offset;
};

TEST(ThumbnailRecord, IsFoundBehindLogLines) {
    const std::string record = text(written("id", "large", "", "small"));
    const std::string nested = text(written("CCAAFFEE", "", "", record));
    const SearchCase rows[] = {
        {record, 0},
        {"saveThumb\n" + record, 10},
        {"CCAAFFEE in a log line\n" + record, 23},
        {"CCAAFFEE" + record, 8},
        {"CCAAFFECCAAFFE" + record, 14},
        {nested, 0},
        {"x" + nested, 1},
        {record + "\n", std::nullopt},
        {"CCAAFFEE is only spoken of here", std::nullopt},
        {"CCAAFFE", std::nullopt},
        {"", std::nullopt},
        // Two runs in one file: the second is the one that ends the stream.
        {record + record, record.size()},
    };
    for (const SearchCase& row : rows)
        EXPECT_EQ(findThumbnailRecord(charactersAsBytes(row.stream)), row.offset) << row.stream;
}

struct CountingStream {
    std::vector<std::string> heads; // the first bytes of each write that reached the stream
    std::uint64_t bytes = 0;
};

ssize_t countBytes(void* cookie, const char* data, std::size_t length) {
    auto& counter = *static_cast<CountingStream*>(cookie);
    counter.heads.emplace_back(data, std::min<std::size_t>(length, 8));
    counter.bytes += length;
    return static_cast<ssize_t>(length);
}

TEST(ThumbnailRecord, EveryFieldIsAWriteOfItsOwn) {
    CountingStream counter;
    std::FILE* stream =
        fopencookie(&counter, "w", {.read = nullptr, .write = countBytes, .seek = nullptr, .close = nullptr});
    std::setvbuf(stream, nullptr, _IONBF, 0);
    const Data small(2, 's');
    writeThumbnailRecord(stream, charactersAsBytes("id"), charactersAsBytes("l"), {}, small);
    std::fclose(stream);
    const std::vector<std::string> expected = {"CCAAFFEE",  "\2\0\0\0"s, "\1\0\0\0"s, "\0\0\0\0"s,
                                               "\2\0\0\0"s, "id",        "l",         "ss"};
    EXPECT_EQ(counter.heads, expected);
}

TEST(ThumbnailRecord, KeepsTheLow32BitsOfALengthAndAllOfTheBytes) {
    constexpr std::size_t length = (std::size_t{1} << 32) + 3;
    void* pages = mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    CountingStream counter;
    std::FILE* stream =
        fopencookie(&counter, "w", {.read = nullptr, .write = countBytes, .seek = nullptr, .close = nullptr});
    std::setvbuf(stream, nullptr, _IONBF, 0);
    writeThumbnailRecord(stream, {}, DataView(static_cast<const std::uint8_t*>(pages), length), {}, {});
    std::fclose(stream);
    munmap(pages, length);
    ASSERT_GE(counter.heads.size(), 3u);
    EXPECT_EQ(counter.heads[2], "\3\0\0\0"s);
    EXPECT_EQ(counter.bytes, 24 + length);
}

TEST(ThumbnailRecord, AFailingStreamIsNotTheWritersConcern) {
    std::FILE* stream = std::fopen("/dev/full", "w");
    ASSERT_NE(stream, nullptr);
    const Data large(100000, 'l');
    writeThumbnailRecord(stream, charactersAsBytes("id"), large, {}, {});
    EXPECT_NE(std::ferror(stream), 0);
    std::fclose(stream);
}

// The bytes of the document's hexadecimal lines: offset, up to 16 bytes, the same bytes as text.
Data bytesOfTheWorkedExample() {
    std::ifstream document(DOCUMENTS_FOLDER "/record-format.md");
    Data bytes;
    for (std::string line; std::getline(document, line);) {
        if (line.size() < 60 || line[8] != ' ' || line.find_first_not_of("0123456789abcdef") != 8)
            continue;
        EXPECT_EQ(std::stoul(line.substr(0, 8), nullptr, 16), bytes.size()) << line;
        std::istringstream columns(line.substr(8, 50));
        for (std::string byte; columns >> byte;)
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(byte, nullptr, 16)));
    }
    return bytes;
}

TEST(ThumbnailRecord, TheDocumentsExampleIsARecord) {
    const Data example = bytesOfTheWorkedExample();
    ASSERT_EQ(example.size(), 102u);
    std::optional<NSError> error;
    const auto record = readThumbnailRecord(example, &error);
    ASSERT_TRUE(record) << lossyUTF8String(error->localizedDescription());
    EXPECT_EQ(text(record->identifier), "\xC3\xA9"
                                        "1");
    EXPECT_EQ(record->large.size(), 75u);
    EXPECT_EQ(record->large.data() - example.data(), 27);
    EXPECT_EQ(text(record->large.first(4)), "II*\0"s);
    EXPECT_TRUE(record->medium.empty());
    EXPECT_TRUE(record->small.empty());
    EXPECT_EQ(written(record->identifier, record->large, record->medium, record->small), example);
}

} // namespace
} // namespace tessaro
