#include "AppKit/ConfinedDecoder/Confinement.h"
#include "AppKit/ConfinedDecoder/DecodedImage.h"
#include "AppKit/ImageDecoding.h"
#include "AppKit/UntrustedImage.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {
namespace {

using namespace std::chrono_literals;
using testing_support::ChildEnd;
using testing_support::ChildProcess;
using testing_support::contentsOf;
using testing_support::runInChild;

std::vector<std::filesystem::path> imageFiles() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(TEST_DATA_FOLDER "/images"))
        if (entry.is_regular_file() && entry.path().extension() != "" && entry.path().extension() != ".txt")
            files.push_back(entry.path());
    return files;
}

std::optional<NSImage> decode(std::string_view bytes) {
    return imageWithUntrustedData(charactersAsBytes(bytes));
}

// How often a process that this one started has come to an end, roughly: its page faults are counted here.
long faultsOfChildren() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_minflt;
}

TEST(UntrustedImage, IsTheImageThatTheDataHold) {
    std::size_t compared = 0;
    for (const auto& file : imageFiles()) {
        const std::string bytes = contentsOf(file);
        const auto direct = NSImage::initWithData(charactersAsBytes(bytes));
        const auto confined = decode(bytes);
        ASSERT_EQ(confined.has_value(), direct.has_value()) << file;
        if (!direct)
            continue;
        ++compared;
        EXPECT_EQ(confined->size(), direct->size()) << file;
        ASSERT_EQ(confined->representations().size(), direct->representations().size()) << file;
        for (std::size_t i = 0; i < direct->representations().size(); ++i) {
            const auto expected = direct->representations()[i]->rendered();
            const auto actual = confined->representations()[i]->rendered();
            EXPECT_EQ(actual->size(), expected->size()) << file;
            EXPECT_TRUE(std::ranges::equal(actual->pixels(), expected->pixels())) << file;
        }
    }
    EXPECT_GE(compared, 30u);
}

TEST(UntrustedImage, WhatHasNoSignatureStartsNoProcess) {
    const long before = faultsOfChildren();
    for (const std::string_view bytes :
         {"", "x", "<!DOCTYPE html><html></html>", "<svg xmlns=\"http://www.w3.org/2000/svg\"/>", "\x89PN", "%PDF-1.4"})
        EXPECT_FALSE(decode(bytes)) << bytes;
    EXPECT_EQ(faultsOfChildren(), before);
    EXPECT_FALSE(decode("\x89PNG\r\n\x1A\n"));
    EXPECT_GT(faultsOfChildren(), before) << "the counter counts";
}

TEST(UntrustedImage, EveryCutOfAnImageIsHarmless) {
    const std::string whole = contentsOf(TEST_DATA_FOLDER "/images/opaque-palette.png");
    for (std::size_t length = 0; length < whole.size(); length += 1 + whole.size() / 40)
        (void)decode(std::string_view(whole).substr(0, length));
    EXPECT_TRUE(decode(whole));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no process is left";
}

TEST(UntrustedImage, MutatedImagesAreHarmless) {
    std::minstd_rand random(20110620);
    const auto files = imageFiles();
    const auto descriptorsBefore = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    const auto begin = std::chrono::steady_clock::now();
    constexpr int rounds = 1000;
    for (int round = 0; round < rounds; ++round) {
        std::string bytes = contentsOf(files[random() % files.size()]);
        for (unsigned changes = 1 + random() % 8; changes > 0; --changes)
            bytes[8 + random() % (bytes.size() - 8)] = static_cast<char>(random());
        const auto image = decode(bytes);
        EXPECT_TRUE(!image || image->isValid());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 120s);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no process is left";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}), descriptorsBefore);
}

TEST(UntrustedImage, ABombIsNothingAndQuick) {
    std::string png = contentsOf(TEST_DATA_FOLDER "/images/opaque.png");
    const std::string side("\0\0\xC3\x50", 4); // 50,000
    png.replace(16, 8, side + side);
    std::string bmp = contentsOf(TEST_DATA_FOLDER "/images/opaque24.bmp");
    const std::string littleEndianSide("\x50\xC3\0\0", 4);
    bmp.replace(18, 8, littleEndianSide + littleEndianSide);
    std::string gif = contentsOf(TEST_DATA_FOLDER "/images/opaque.gif");
    gif.replace(6, 4, "\xFF\xFF\xFF\xFF");
    for (const std::string& bomb : {png, bmp, gif}) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_FALSE(decode(bomb));
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    }
}

TEST(UntrustedImage, WithoutDescriptorsThereIsNone) {
    const std::string bytes = contentsOf(TEST_DATA_FOLDER "/images/opaque.png");
    const ChildEnd end = runInChild([&bytes] {
        for (const rlim_t descriptors : {3u, 5u, 17u, 18u, 20u}) {
            const rlimit few{descriptors, 1024};
            setrlimit(RLIMIT_NOFILE, &few);
            (void)decode(bytes);
        }
        const rlimit enough{256, 1024};
        setrlimit(RLIMIT_NOFILE, &enough);
        _exit(decode(bytes) ? 42 : 1);
    });
    EXPECT_EQ(end.exitStatus, 42);
}

TEST(UntrustedImage, IgnoredChildrenAreNoObstacle) {
    const std::string bytes = contentsOf(TEST_DATA_FOLDER "/images/opaque.png");
    const ChildEnd end = runInChild([&bytes] {
        std::signal(SIGCHLD, SIG_IGN); // the kernel reaps them itself, and nobody learns how they ended
        _exit(decode(bytes) ? 1 : 42);
    });
    EXPECT_EQ(end.exitStatus, 42);
    EXPECT_LT(end.time, 3s);
}

// ---- the answer ----

struct Answer {
    std::string bytes;
    Answer& number(std::uint32_t value) { return raw(&value, sizeof value); }
    Answer& real(double value) { return raw(&value, sizeof value); }
    Answer& raw(const void* data, std::size_t size) {
        bytes.append(static_cast<const char*>(data), size);
        return *this;
    }
};

Answer answerOf(std::uint32_t count) {
    return Answer{"TDI1"}.number(count);
}

struct AnswerCase {
    const char* name;
    Answer answer;
    std::size_t representations;
};

TEST(DecodedImage, BelievesNoNonsense) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const AnswerCase rows[] = {
        {"one", answerOf(1).number(1).number(1).real(1).real(1).number(0xFF000000), 1},
        {"none", answerOf(0), 0},
        {"empty", {}, 0},
        {"another magic", Answer{"TDI2"}.number(1).number(1).number(1).real(1).real(1).number(0), 0},
        {"bytes behind", answerOf(1).number(1).number(1).real(1).real(1).number(0).number(0), 0},
        {"a pixel missing", answerOf(1).number(2).number(1).real(1).real(1).number(0), 0},
        {"a representation missing", answerOf(2).number(1).number(1).real(1).real(1).number(0), 0},
        {"too many", answerOf(65), 0},
        {"far too many", answerOf(0xFFFFFFFF), 0},
        {"no width", answerOf(1).number(0).number(1).real(1).real(1), 0},
        {"negative", answerOf(1).number(0xFFFFFFFF).number(0xFFFFFFFF).real(1).real(1).number(0), 0},
        {"too wide", answerOf(1).number(8193).number(1).real(1).real(1), 0},
        {"too much", answerOf(1).number(8192).number(8192).real(1).real(1), 0},
        {"no points", answerOf(1).number(1).number(1).real(0).real(1).number(0), 0},
        {"negative points", answerOf(1).number(1).number(1).real(1).real(-1).number(0), 0},
        {"endless points", answerOf(1).number(1).number(1).real(infinity).real(1).number(0), 0},
        {"no number", answerOf(1).number(1).number(1).real(1).real(nan).number(0), 0},
    };
    for (const AnswerCase& row : rows)
        EXPECT_EQ(readDecodedImage(charactersAsBytes(row.answer.bytes)).size(), row.representations) << row.name;
}

TEST(DecodedImage, HoldsColoursDownToTheirAlpha) {
    const auto read = readDecodedImage(
        charactersAsBytes(answerOf(1).number(2).number(1).real(2).real(1).number(0x40FF3080).number(0xFFFFFFFF).bytes));
    ASSERT_EQ(read.size(), 1u);
    EXPECT_EQ(read[0].pixelAt(0, 0), 0x40403040u);
    EXPECT_EQ(read[0].pixelAt(1, 0), 0xFFFFFFFFu);
}

TEST(DecodedImage, ReadsWhatWasWritten) {
    std::vector<NSBitmapImageRep> images{NSBitmapImageRep(3, 2), NSBitmapImageRep(1, 1)};
    images[0].setSize({1.5, 1});
    for (std::size_t i = 0; i < 6; ++i)
        images[0].pixels()[i] = static_cast<NSBitmapImageRep::Pixel>(0xFF000000 + i);
    const auto read = readDecodedImage(writtenDecodedImage(images));
    ASSERT_EQ(read.size(), 2u);
    EXPECT_EQ(read[0].size(), (NSSize{1.5, 1}));
    EXPECT_TRUE(std::ranges::equal(read[0].pixels(), images[0].pixels()));
}

// ---- the confinement ----

struct ForbiddenCase {
    const char* name;
    void (*attempt)();
};

TEST(Confinement, EndsTheProcessAtAnythingElse) {
    const ForbiddenCase rows[] = {
        {"open a file", [] { (void)open("/etc/passwd", O_RDONLY); }},
        {"make a file", [] { (void)creat("/tmp/tessaro-confinement", 0600); }},
        {"remove a file", [] { (void)unlink("/tmp/tessaro-confinement"); }},
        {"a socket", [] { (void)socket(AF_INET, SOCK_STREAM, 0); }},
        {"another process", [] { (void)fork(); }},
        {"another program", [] { (void)execl("/bin/true", "true", nullptr); }},
        {"a signal to the parent", [] { (void)kill(getppid(), 0); }},
        {"memory that can be executed",
         [] { (void)mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0); }},
        {"an open file as memory", [] { (void)mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, STDOUT_FILENO, 0); }},
        {"to make memory executable",
         [] {
             void* page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
             (void)mprotect(page, 4096, PROT_READ | PROT_EXEC);
         }},
        {"to be traced", [] { (void)prctl(PR_SET_DUMPABLE, 1); }},
    };
    for (const ForbiddenCase& row : rows) {
        const ChildEnd end = runInChild([&row] {
            if (!limitResources() || !giveUpSystemCalls())
                _exit(1);
            row.attempt();
            _exit(2);
        });
        EXPECT_EQ(end.signal, SIGSYS) << row.name << ", status " << end.exitStatus;
    }
}

TEST(Confinement, LeavesMemoryAndOpenFiles) {
    const ChildEnd end = runInChild([] {
        if (!limitResources() || !giveUpSystemCalls())
            _exit(1);
        for (std::size_t size = 16; size < (std::size_t{64} << 20); size *= 2) {
            std::vector<char> memory(size, 'x');
            memory.resize(size + size / 2);
        }
        _exit(write(STDOUT_FILENO, "done", 4) == 4 ? 42 : 2);
    });
    EXPECT_EQ(end.exitStatus, 42) << end.signal;
    EXPECT_EQ(end.output, "done");
}

#ifndef __SANITIZE_ADDRESS__ // which needs all of the address space
TEST(Confinement, BoundsMemory) {
    const ChildEnd end = runInChild([] {
        if (!limitResources())
            _exit(1);
        void* memory = mmap(nullptr, std::size_t{1} << 30, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        _exit(memory == MAP_FAILED ? 42 : 2);
    });
    EXPECT_EQ(end.exitStatus, 42);
}
#endif

TEST(Confinement, BoundsProcessorTime) {
    ChildProcess child([] {
        if (!limitResources() || !giveUpSystemCalls())
            _exit(1);
        for (volatile int spin = 0;;)
            (void)spin;
    });
    const ChildEnd end = child.waitForEnd(60s); // two seconds of the processor are many on a busy machine
    EXPECT_TRUE(end.signal == SIGKILL || end.signal == SIGXCPU) << end.exitStatus;
    EXPECT_FALSE(end.hung);
}

} // namespace
} // namespace platform
