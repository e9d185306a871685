#include "TessaroThumbs/Starter/RecordRelay.h"

#include "TessaroThumbs/ThumbnailRecord.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

namespace tessaro {
namespace {

std::string record(std::string_view identifier, std::string_view large) {
    char* bytes = nullptr;
    std::size_t length = 0;
    std::FILE* stream = open_memstream(&bytes, &length);
    writeThumbnailRecord(stream, platform::charactersAsBytes(identifier), platform::charactersAsBytes(large), {},
                         platform::charactersAsBytes("small"));
    std::fclose(stream);
    std::string text(bytes, length);
    std::free(bytes);
    return text;
}

// The relay on a thread of its own, between two pipes.
class Relay {
public:
    Relay() {
        EXPECT_EQ(pipe2(input_.data(), O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(output_.data(), O_CLOEXEC), 0);
        thread_ = std::thread([this] {
            relayRecord(input_[0], output_[1]);
            close(output_[1]);
        });
    }
    ~Relay() {
        endInput();
        if (thread_.joinable())
            thread_.join();
        for (const int descriptor : {input_[0], output_[0]})
            if (descriptor >= 0)
                close(descriptor);
    }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    void feed(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = write(input_[1], bytes.data(), bytes.size());
            ASSERT_GT(count, 0);
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    // Until the relay has taken what was fed: what is fed next comes by another read.
    void awaitTaken() const {
        int waiting = 1;
        while (ioctl(input_[0], FIONREAD, &waiting) == 0 && waiting > 0)
            std::this_thread::yield();
    }
    void endInput() {
        if (input_[1] >= 0)
            close(input_[1]);
        input_[1] = -1;
    }
    // So many bytes of output, or as many as have come within five seconds.
    [[nodiscard]] std::string receive(std::size_t length) const {
        std::string text;
        pollfd ready{output_[0], POLLIN, 0};
        while (text.size() < length && poll(&ready, 1, 5000) == 1) {
            std::array<char, 65536> piece{};
            const ssize_t count = read(output_[0], piece.data(), std::min(piece.size(), length - text.size()));
            if (count <= 0)
                break;
            text.append(piece.data(), static_cast<std::size_t>(count));
        }
        return text;
    }
    [[nodiscard]] bool isSilent() const {
        pollfd ready{output_[0], POLLIN, 0};
        return poll(&ready, 1, 20) == 0;
    }
    // Ends the input; everything that still comes out.
    [[nodiscard]] std::string rest() {
        endInput();
        std::string text = receive(std::string::npos);
        thread_.join();
        return text;
    }
    void closeOutput() {
        close(output_[0]);
        output_[0] = -1;
    }

private:
    std::array<int, 2> input_{-1, -1};
    std::array<int, 2> output_{-1, -1};
    std::thread thread_;
};

std::string relayed(std::string_view bytes) {
    Relay relay;
    relay.feed(bytes);
    return relay.rest();
}

TEST(RecordRelay, PassesLinesOnAtOnce) {
    Relay relay;
    for (const std::string_view line :
         {"first\n", "\n", "[31043] a longer line\nand another one\n", "C\n", "CCAAFFE\n"}) {
        relay.feed(line);
        EXPECT_EQ(relay.receive(line.size()), line);
    }
    EXPECT_EQ(relay.rest(), "");
}

TEST(RecordRelay, ALineNeedNotBeWholeToBePassedOn) {
    Relay relay;
    relay.feed("[31043] unfini");
    EXPECT_EQ(relay.receive(14), "[31043] unfini");
    relay.feed("CCAAFFEE");
    EXPECT_EQ(relay.receive(8), "CCAAFFEE") << "not at the beginning of a line";
    relay.feed("shed\n");
    EXPECT_EQ(relay.receive(5), "shed\n");
    EXPECT_EQ(relay.rest(), "");
}

TEST(RecordRelay, HoldsARecordUntilItIsWhole) {
    const std::string whole = record("identifier", std::string(3000, 'l'));
    Relay relay;
    relay.feed("a line\n");
    EXPECT_EQ(relay.receive(7), "a line\n");
    std::size_t begin = 0;
    for (const std::size_t end : {4UL, 8UL, 24UL, 1000UL, whole.size()}) {
        relay.feed(std::string_view(whole).substr(begin, end - begin));
        relay.awaitTaken();
        EXPECT_TRUE(relay.isSilent()) << end;
        begin = end;
    }
    EXPECT_EQ(relay.rest(), whole);
}

TEST(RecordRelay, DropsARecordCutAtAnyByte) {
    const std::string whole = record("id", "large");
    for (const std::string before : {"", "a line\n", "CCAAFFE\n", "a\nb\n"})
        for (std::size_t length = 0; length < whole.size(); ++length)
            EXPECT_EQ(relayed(before + whole.substr(0, length)), before) << length;
}

struct StreamRow {
    const char* name;
    std::string stream;
    std::string output;
};

TEST(RecordRelay, TellsRecordsFromText) {
    const std::string whole = record("id", "large");
    const std::string nested = record("CCAAFFEE", whole);
    const StreamRow rows[] = {
        {"nothing", "", ""},
        {"a record", whole, whole},
        {"a line and a record", "line\n" + whole, "line\n" + whole},
        {"an empty line and a record", "\n" + whole, "\n" + whole},
        {"a record in a record", nested, nested},
        {"a line feed in a record", record("a\nCCAAFFEE\nb", "\n\n"), record("a\nCCAAFFEE\nb", "\n\n")},
        {"a byte too many", whole + "x", ""},
        {"a line too many", "line\n" + whole + "line\n", "line\n"},
        {"two records", whole + whole, ""},
        {"a line that begins like a record", "a\nCCAAFFEE is text\n" + whole, "a\nCCAAFFEE is text\n" + whole},
        {"the same without a record", "a\nCCAAFFEE is text\n", "a\n"},
        {"lengths without an end", "CCAAFFEE" + std::string(16, '\xFF'), ""},
        {"an empty record", "CCAAFFEE" + std::string(16, '\0'), "CCAAFFEE" + std::string(16, '\0')},
        {"a magic inside a line", "see CCAAFFEE\nmore\n", "see CCAAFFEE\nmore\n"},
        {"a record inside a line", "see " + whole, "see " + whole},
        {"text without an end of line", "text", "text"},
        {"the other case", "ccaaffee is text", "ccaaffee is text"},
        {"nearly a magic", "CCAAFFEF is text", "CCAAFFEF is text"},
        {"half a magic and a line feed", "CCAA\nFFEE\n", "CCAA\nFFEE\n"},
        {"half a magic, then a record", "CCAA\n" + whole, "CCAA\n" + whole},
        {"half a magic at the end", "CCAA", ""},
        {"zero bytes", std::string(5, '\0'), std::string(5, '\0')},
    };
    for (const StreamRow& row : rows) {
        EXPECT_EQ(relayed(row.stream), row.output) << row.name;
        // And byte by byte.
        Relay relay;
        for (const char byte : row.stream) {
            relay.feed(std::string_view(&byte, 1));
            relay.awaitTaken();
        }
        EXPECT_EQ(relay.rest(), row.output) << row.name << ", byte by byte";
    }
}

TEST(RecordRelay, FindsAMagicThatTwoReadsShare) {
    const std::string whole = record("id", "large");
    for (const std::string before : {"", "a line\n", "unfinished, CCAA\n"})
        for (std::size_t cut = 0; cut <= before.size() + 24; ++cut) {
            const std::string stream = before + whole;
            Relay cutShort;
            Relay relay;
            for (Relay* each : {&cutShort, &relay}) {
                each->feed(std::string_view(stream).substr(0, cut));
                each->awaitTaken();
            }
            relay.feed(std::string_view(stream).substr(cut));
            EXPECT_EQ(relay.rest(), stream) << cut;
            cutShort.feed(std::string_view(stream).substr(cut, stream.size() - cut - 1));
            EXPECT_EQ(cutShort.rest(), before) << cut << ", cut short";
        }
}

TEST(RecordRelay, ReadsToTheEndThoughNobodyTakesTheOutput) {
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    for (const std::string& stream : {std::string(4 << 20, 'x'), "line\n" + record("id", std::string(4 << 20, 'l'))}) {
        Relay relay;
        relay.closeOutput();
        relay.feed(stream); // more than a pipe holds: this returns because it is read
        relay.endInput();
    }
    std::signal(SIGPIPE, previous);
}

TEST(RecordRelay, TakesAHundredMegabytes) {
    const std::string large(100 << 20, 'l');
    for (const std::string& stream : {record("id", large), large, large + "\n" + record("id", "")}) {
        Relay relay;
        std::thread feeder([&] {
            relay.feed(stream);
            relay.endInput();
        });
        const auto begin = std::chrono::steady_clock::now();
        std::string output = relay.receive(std::string::npos);
        feeder.join();
        EXPECT_TRUE(output == stream) << output.size() << " of " << stream.size();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20)) << "a line costs what it is long";
    }
}

} // namespace
} // namespace tessaro
