// The picture of the page, and the record.
#include "HelperTest.h"

#include "Foundation/NSException.h"
#include "Foundation/StandardOutput.h"
#include "brimle/DRLogger.h"

#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace tessaro {
namespace {

using platform::NSBitmapImageRep;
using Pixel = NSBitmapImageRep::Pixel;
using testing::ElementsAre;

// Tells every place of the view from every other one.
Pixel placeAsColour(int x, int y) {
    return 0xFF000000U | static_cast<unsigned>(x) << 12 | static_cast<unsigned>(y);
}

NSBitmapImageRep bitmapOf(const NSImage& image) {
    const auto data = image.TIFFRepresentation();
    auto bitmap = data ? NSBitmapImageRep::imageRepWithData(*data) : std::nullopt;
    return bitmap ? *bitmap : NSBitmapImageRep(1, 1);
}

class Rendering : public HelperTest {
protected:
    void SetUp() override { launchOrdinaryRun({"-uuid", "5A0F1E2D-0000-4000-8000-0123456789AB"}); }
    void save(StringView name, NSRect rect = platform::NSMakeRect(0, 0, 955, 730), NSPoint margin = {0, 0},
              NSSize size = {301, 226}) {
        delegate->saveThumb_usingViewRect_margin_thumbSize(name, rect, margin, size);
    }
};

TEST_F(Rendering, UpdateThumbnailsTakesItsStepsInOrder) {
    const std::string output = outputOfUpdateThumbnails();
    EXPECT_THAT(script().calls, ElementsAre("NSWindow setContentSize (955, 730)", "WebView setFrame (0, 0, 955, 730)",
                                            "WebView display", "WebView bounds", "WebView lockFocus",
                                            "WebView unlockFocus", "NSApplication terminate the delegate"));
    const ReadRecord record = recordIn(output);
    EXPECT_EQ(record.identifier, "5A0F1E2D-0000-4000-8000-0123456789AB");
    EXPECT_EQ(output.substr(0, 12), std::string("CCAAFFEE\x24\0\0\0", 12));
    EXPECT_EQ(output.substr(24, 36), record.identifier);
    EXPECT_EQ(output.size(), 24 + 36 + record.large.size());
    EXPECT_TRUE(record.medium.empty());
    EXPECT_TRUE(record.small.empty());
}

TEST_F(Rendering, TheLargeImageHasOneSizeAndHoldsThePage) {
    script().page = [](int, int) { return Pixel{0xFF336699}; };
    const ReadRecord record = recordIn(outputOfUpdateThumbnails());
    const auto image = NSImage::initWithData(record.large);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), (NSSize{301, 226}));
    const NSBitmapImageRep bitmap = bitmapOf(*image);
    ASSERT_EQ(bitmap.pixelsWide(), 301);
    ASSERT_EQ(bitmap.pixelsHigh(), 226);
    for (const Pixel pixel : bitmap.pixels())
        ASSERT_EQ(pixel, 0xFF336699U);
}

struct CaptureRow {
    const char* name;
    NSRect view;
    NSPoint margin;
    // Where the capture's first and last pixel stand in the view, from its left and its top.
    int left, top, right, bottom;
};

// Captures at one pixel a pixel, so that every pixel tells where it comes from.
TEST_F(Rendering, CapturesTheViewWithoutTheBandsAtItsRightAndItsBottom) {
    const CaptureRow rows[] = {
        {"a page", platform::NSMakeRect(0, 0, 955, 730), {0, 0}, 0, 0, 904, 679},
        {"a list's view", platform::NSMakeRect(0, 0, 114, 114), {0, 0}, 0, 0, 63, 63},
        {"only the size counts", platform::NSMakeRect(300, 200, 120, 90), {0, 0}, 0, 0, 69, 39},
        {"margin to the right", platform::NSMakeRect(0, 0, 120, 90), {20, 0}, 20, 0, 89, 39},
        {"margin downwards: y less, so lower in the view", platform::NSMakeRect(0, 0, 120, 90), {0, 20}, 0, 20, 69, 59},
        {"the whole margin", platform::NSMakeRect(0, 0, 120, 90), {50, 50}, 50, 50, 119, 89},
    };
    script().page = placeAsColour;
    for (const CaptureRow& row : rows) {
        SCOPED_TRACE(row.name);
        const NSSize size{row.view.size.width - 50, row.view.size.height - 50};
        delegate->_largeIcon.reset();
        save(u"l", row.view, row.margin, size);
        ASSERT_TRUE(delegate->_largeIcon);
        const NSBitmapImageRep bitmap = bitmapOf(*delegate->_largeIcon);
        ASSERT_EQ(bitmap.pixelsWide(), row.right - row.left + 1);
        ASSERT_EQ(bitmap.pixelsHigh(), row.bottom - row.top + 1);
        for (int y = 0; y < bitmap.pixelsHigh(); ++y)
            for (int x = 0; x < bitmap.pixelsWide(); ++x)
                ASSERT_EQ(bitmap.pixelAt(x, y), placeAsColour(row.left + x, row.top + y)) << x << ", " << y;
    }
}

TEST_F(Rendering, ScalesWithHighQualityAndWithoutTheAspect) {
    // Black and white stripes as wide as a pixel: the nearest pixels would keep them, a linear filter moves them.
    script().page = [](int x, int y) { return (x / 2 + y / 3) % 2 != 0 ? Pixel{0xFF000000} : Pixel{0xFFFFFFFF}; };
    save(u"l");
    ASSERT_TRUE(delegate->_largeIcon);
    const auto scaled = [](platform::NSImageInterpolation interpolation) {
        NSBitmapImageRep capture(905, 680);
        for (int y = 0; y < 680; ++y)
            for (int x = 0; x < 905; ++x)
                capture.row(y)[static_cast<std::size_t>(x)] = script().page(x, y);
        NSImage image = NSImage::initWithSize({905, 680});
        image.addRepresentation(std::make_shared<const NSBitmapImageRep>(std::move(capture)));
        NSImage thumbnail = NSImage::initWithSize({301, 226});
        thumbnail.lockFocus();
        platform::NSGraphicsContext::currentContext()->setImageInterpolation(interpolation);
        image.drawInRect_fromRect_operation_fraction({{0, 0}, {301, 226}}, platform::NSZeroRect,
                                                     platform::NSCompositeCopy, 1.0);
        thumbnail.unlockFocus();
        return thumbnail.TIFFRepresentation();
    };
    EXPECT_TRUE(delegate->_largeIcon->TIFFRepresentation() == scaled(platform::NSImageInterpolationHigh));
    EXPECT_FALSE(delegate->_largeIcon->TIFFRepresentation() == scaled(platform::NSImageInterpolationLow));
    EXPECT_FALSE(delegate->_largeIcon->TIFFRepresentation() == scaled(platform::NSImageInterpolationNone));
}

TEST_F(Rendering, TransparencyIsKeptAndNothingFilledBehindIt) {
    script().page = [](int, int) { return Pixel{0x40200010}; };
    save(u"l");
    ASSERT_TRUE(delegate->_largeIcon);
    const NSBitmapImageRep bitmap = bitmapOf(*delegate->_largeIcon);
    for (const Pixel pixel : bitmap.pixels())
        ASSERT_EQ(pixel, 0x40200010U);
}

struct NameRow {
    const char16_t* name;
    bool large, medium, small;
};

TEST_F(Rendering, TheNameSelectsTheField) {
    const NameRow rows[] = {
        {u"l", true, false, false},   {u"m", false, true, false},    {u"s", false, false, true},
        {u"", false, false, false},   {u"x", false, false, false},   {u"L", false, false, false},
        {u"ll", false, false, false}, {u"lms", false, false, false},
    };
    const NSImage before = plainImage(3, 3, 0xFF123456);
    const auto isFilled = [&](const std::optional<NSImage>& field) { return field->size() == NSSize{301, 226}; };
    for (const NameRow& row : rows) {
        const std::string name = platform::lossyUTF8String(row.name);
        delegate->_largeIcon = delegate->_mediumIcon = delegate->_smallIcon = before;
        script().calls.clear();
        save(row.name);
        EXPECT_EQ(isFilled(delegate->_largeIcon), row.large) << name;
        EXPECT_EQ(isFilled(delegate->_mediumIcon), row.medium) << name;
        EXPECT_EQ(isFilled(delegate->_smallIcon), row.small) << name;
        EXPECT_TRUE(script().wasCalled("WebView unlockFocus")) << name << " is rendered all the same";
    }
}

// Exceptions

struct StepRow {
    const char* step;
    std::vector<std::string> calls; // from the rendering's first one on
};

const StepRow steps[] = {
    {"WebView setFrame", {"WebView setFrame (0, 0, 955, 730)"}},
    {"WebView display", {"WebView setFrame (0, 0, 955, 730)", "WebView display"}},
    {"WebView bounds", {"WebView setFrame (0, 0, 955, 730)", "WebView display", "WebView bounds"}},
    {"WebView lockFocus",
     {"WebView setFrame (0, 0, 955, 730)", "WebView display", "WebView bounds", "WebView lockFocus"}},
    {"WebView unlockFocus",
     {"WebView setFrame (0, 0, 955, 730)", "WebView display", "WebView bounds", "WebView lockFocus",
      "WebView unlockFocus"}},
};

TEST_F(Rendering, APlatformExceptionLeavesARecordWithoutTheLargeImage) {
    setFlag(verbose);
    for (const StepRow& row : steps) {
        SCOPED_TRACE(row.step);
        script().calls.clear();
        script().during.clear();
        script().during[row.step] = [] { throw platform::NSException(u"NSGenericException", u"no picture"); };
        delegate->_mediumIcon = plainImage(5, 5, 0xFF00FF00);
        delegate->_smallIcon = plainImage(4, 4, 0xFFFF0000);
        forgetLog();
        const std::string output = outputOfUpdateThumbnails();
        const ReadRecord record = recordIn(output);
        EXPECT_EQ(record.identifier.size(), 36u);
        EXPECT_TRUE(record.large.empty());
        EXPECT_EQ(record.medium, delegate->_mediumIcon->TIFFRepresentation());
        EXPECT_EQ(record.small, delegate->_smallIcon->TIFFRepresentation());
        std::vector<std::string> calls{"NSWindow setContentSize (955, 730)"};
        calls.insert(calls.end(), row.calls.begin(), row.calls.end());
        calls.emplace_back("NSApplication terminate the delegate");
        EXPECT_EQ(script().calls, calls) << "a locked focus stays locked";
        EXPECT_FALSE(delegate->_largeIcon);
        EXPECT_THAT(logged(), ElementsAre("saveThumb", "Exception: no picture",
                                          "uuid = 5A0F1E2D-0000-4000-8000-0123456789AB, l = 0, m = " +
                                              std::to_string(record.medium.size()) +
                                              ", s = " + std::to_string(record.small.size())));
    }
}

TEST_F(Rendering, APlatformExceptionLeavesTheFieldAsItWas) {
    script().during["WebView lockFocus"] = [] { throw platform::NSException(u"NSGenericException", u""); };
    delegate->_largeIcon = plainImage(7, 7, 0xFF123456);
    const auto before = delegate->_largeIcon->TIFFRepresentation();
    setFlag(verbose);
    save(u"l");
    ASSERT_TRUE(delegate->_largeIcon);
    EXPECT_EQ(delegate->_largeIcon->TIFFRepresentation(), before);
    EXPECT_THAT(logged(), ElementsAre("saveThumb", "Exception: NSGenericException"));
}

struct FailureRow {
    const char* name;
    NSRect view;
    NSSize size;
};

// The platform's own refusals: read-back of an empty rectangle, focus on an image without extent.
TEST_F(Rendering, TheDrawingsOwnExceptionsAreCaughtToo) {
    const FailureRow rows[] = {
        {"a view as small as the band", platform::NSMakeRect(0, 0, 50, 50), {301, 226}},
        {"a view as narrow as the band", platform::NSMakeRect(0, 0, 50, 730), {301, 226}},
        {"a thumbnail without extent", platform::NSMakeRect(0, 0, 955, 730), {0, 0}},
        {"a thumbnail of a negative size", platform::NSMakeRect(0, 0, 955, 730), {-301, 226}},
        {"a thumbnail too large", platform::NSMakeRect(0, 0, 955, 730), {40000, 226}},
    };
    setFlag(verbose);
    for (const FailureRow& row : rows) {
        forgetLog();
        save(u"l", row.view, {0, 0}, row.size);
        EXPECT_FALSE(delegate->_largeIcon) << row.name;
        const auto lines = logged();
        ASSERT_EQ(lines.size(), 2u) << row.name;
        EXPECT_EQ(lines[0], "saveThumb") << row.name;
        EXPECT_THAT(lines[1], testing::StartsWith("Exception: ")) << row.name;
    }
}

TEST_F(Rendering, AnyOtherExceptionPropagatesWithoutARecord) {
    setFlag(verbose);
    for (const StepRow& row : steps) {
        SCOPED_TRACE(row.step);
        script().calls.clear();
        script().during.clear();
        script().during[row.step] = [] { throw std::runtime_error("not the platform's"); };
        forgetLog();
        std::string output;
        EXPECT_THROW(output = outputOfUpdateThumbnails(), std::runtime_error);
        EXPECT_EQ(testing_support::contentsOf(home / "output"), "");
        EXPECT_FALSE(script().wasCalled("NSApplication terminate"));
        EXPECT_FALSE(delegate->_largeIcon);
        EXPECT_THAT(logged(), ElementsAre("saveThumb"));
    }
}

// Log lines

TEST_F(Rendering, EveryLineAsksForTheFlagAnew) {
    struct Row {
        const char* setDuring; // the operation within which the flag comes
        std::vector<std::string> lines;
    };
    const std::string uuid = "uuid = 5A0F1E2D-0000-4000-8000-0123456789AB, l = 0, m = 0, s = 0";
    const Row rows[] = {
        {"NSWindow setContentSize", {"saveThumb", "Exception: stop", uuid}},
        {"WebView setFrame", {"Exception: stop", uuid}},
        {"NSApplication terminate", {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.setDuring);
        setFlag(verbose, "");
        script().during.clear();
        script().during[row.setDuring] = [this] { setFlag(verbose); };
        script().during["WebView lockFocus"] = [] { throw platform::NSException(u"n", u"stop"); };
        forgetLog();
        (void)outputOfUpdateThumbnails();
        EXPECT_EQ(logged(), row.lines);
    }
    // And the other way round: only the first line.
    setFlag(verbose);
    script().during.clear();
    script().during["WebView setFrame"] = [this] { setFlag(verbose, "<integer>0</integer>"); };
    forgetLog();
    (void)outputOfUpdateThumbnails();
    EXPECT_THAT(logged(), ElementsAre("saveThumb"));
}

TEST_F(Rendering, TheLogTellsTheLengths) {
    setFlag(verbose);
    delegate->_mediumIcon = plainImage(57, 57, 0xFF00FF00);
    delegate->_smallIcon = plainImage(16, 16, 0xFFFF0000);
    const ReadRecord record = recordIn(outputOfUpdateThumbnails());
    EXPECT_EQ(record.medium, delegate->_mediumIcon->TIFFRepresentation());
    EXPECT_EQ(record.small, delegate->_smallIcon->TIFFRepresentation());
    EXPECT_EQ(record.large, delegate->_largeIcon->TIFFRepresentation());
    EXPECT_THAT(logged(), ElementsAre("saveThumb", "uuid = 5A0F1E2D-0000-4000-8000-0123456789AB, l = " +
                                                       std::to_string(record.large.size()) +
                                                       ", m = " + std::to_string(record.medium.size()) +
                                                       ", s = " + std::to_string(record.small.size())));
}

// The record

struct IdentifierRow {
    const char* name;
    std::vector<std::string> arguments;
    std::string bytes;
    std::string logged;
};

TEST_F(Rendering, TheIdentifierIsCopiedAsUTF8) {
    const std::string large(65536, 'u');
    const IdentifierRow rows[] = {
        {"absent", {}, "", "(null)"},
        {"empty", {"-uuid", ""}, "", ""},
        {"ASCII", {"-uuid", "abc-123"}, "abc-123", "abc-123"},
        {"one letter with an accent", {"-uuid", "\u00E9"}, "\xC3\xA9", "\u00E9"},
        {"beyond the first plane", {"-uuid", "\U0001F511"}, "\xF0\x9F\x94\x91", "\U0001F511"},
        {"Latin 1 on the command line", {"-uuid", "\xE9"}, "\xC3\xA9", "\u00E9"},
        {"64 KiB", {"-uuid", large}, large, large},
        {"what looks like a magic", {"-uuid", "CCAAFFEE"}, "CCAAFFEE", "CCAAFFEE"},
        {"what looks like a format", {"-uuid", "%@%s%n"}, "%@%s%n", "%@%s%n"},
        {"with a line feed", {"-uuid", "a\nb"}, "a\nb", "a\nb"},
        {"a property list is no text", {"-uuid", "(a, b)"}, "", "(null)"},
        {"the last one counts", {"-uuid", "first", "-uuid", "last"}, "last", "last"},
    };
    setFlag(verbose);
    for (const IdentifierRow& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<std::string> arguments{"-url", "http://page.example/"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        setArguments(arguments);
        forgetLog();
        const std::string output = outputOfUpdateThumbnails();
        const ReadRecord record = recordIn(output);
        EXPECT_EQ(record.identifier, row.bytes);
        EXPECT_EQ(output.size(), 24 + row.bytes.size() + record.large.size());
        EXPECT_EQ(static_cast<unsigned char>(output[8]) | static_cast<unsigned char>(output[9]) << 8 |
                      static_cast<unsigned char>(output[10]) << 16 | static_cast<unsigned char>(output[11]) << 24,
                  static_cast<int>(row.bytes.size()));
        const auto lines = logged();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_THAT(lines[1], testing::StartsWith("uuid = " + row.logged + ", l = "));
    }
}

TEST_F(Rendering, AnImageWithoutPixelsCountsAsMissing) {
    delegate->_mediumIcon = NSImage::initWithSize({57, 57});
    const ReadRecord record = recordIn(outputOfUpdateThumbnails());
    EXPECT_TRUE(record.medium.empty());
    EXPECT_FALSE(record.large.empty());
}

TEST_F(Rendering, StandardOutputIsClosedBeforeTheEnd) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    ASSERT_GT(fcntl(ends[0], F_SETPIPE_SZ, 1 << 20), 1 << 19) << "room for a whole record";
    std::string output;
    bool ended = false;
    bool closed = false;
    script().during["NSApplication terminate"] = [&] {
        std::array<char, 4096> piece{};
        ssize_t count = 0;
        while ((count = read(ends[0], piece.data(), piece.size())) > 0)
            output.append(piece.data(), static_cast<std::size_t>(count));
        ended = count == 0;
        closed = platform::standardOutput() == nullptr;
    };
    {
        const ReplacedStandardOutput replaced(fdopen(ends[1], "w"));
        delegate->updateThumbnails();
    }
    EXPECT_TRUE(ended) << "the reader sees the end of file";
    EXPECT_TRUE(closed);
    EXPECT_FALSE(recordIn(output).large.empty());
    close(ends[0]);
}

TEST_F(Rendering, NothingIsWrittenBeforeEverythingIsReady) {
    setFlag(verbose);
    std::string before;
    bool seen = false;
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    script().during["WebView unlockFocus"] = [&] {
        std::array<char, 16> piece{};
        seen = true;
        if (const ssize_t count = read(ends[0], piece.data(), piece.size()); count > 0)
            before.assign(piece.data(), static_cast<std::size_t>(count));
    };
    ASSERT_GT(fcntl(ends[0], F_SETPIPE_SZ, 1 << 20), 1 << 19);
    {
        const ReplacedStandardOutput replaced(fdopen(ends[1], "w"));
        std::setvbuf(platform::standardOutput(), nullptr, _IONBF, 0);
        delegate->updateThumbnails();
    }
    EXPECT_TRUE(seen);
    EXPECT_EQ(before, "");
    close(ends[0]);
}

struct LostOutputRow {
    const char* name;
    const char* file; // null: a pipe without a reader
};

TEST_F(Rendering, AReaderThatHasGoneAwayIsNotNoticed) {
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    for (const LostOutputRow& row : {LostOutputRow{"pipe", nullptr}, LostOutputRow{"full device", "/dev/full"}}) {
        std::FILE* stream = nullptr;
        if (row.file) {
            stream = std::fopen(row.file, "w");
        } else {
            std::array<int, 2> ends{};
            ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
            close(ends[0]);
            stream = fdopen(ends[1], "w");
        }
        script().calls.clear();
        {
            const ReplacedStandardOutput replaced(stream);
            delegate->updateThumbnails();
        }
        EXPECT_EQ(script().calls.back(), "NSApplication terminate the delegate") << row.name;
    }
    std::signal(SIGPIPE, previous);
}

TEST_F(Rendering, WithStandardOutputClosedTheRunEndsAllTheSame) {
    {
        const ReplacedStandardOutput replaced(std::fopen("/dev/null", "w"));
        EXPECT_EQ(platform::closeStream(platform::standardOutput()), 0);
        delegate->updateThumbnails();
    }
    EXPECT_EQ(script().calls.back(), "NSApplication terminate the delegate");
}

struct FallBackRow {
    const char* name;
    const char* inTheWay; // a path below the home
    bool isFolder;
};

// Without a log file, lines go to standard output: ahead of the record, through the same stream.
TEST_F(Rendering, LogLinesThatFallBackToStandardOutputStandAheadOfTheRecord) {
    const FallBackRow rows[] = {
        {"no folder for the log", "Library/Logs", false},
        {"a folder in the log's place", "Library/Logs/Tessaro/TessaroThumbs.log", true},
    };
    setFlag(verbose);
    for (const FallBackRow& row : rows) {
        SCOPED_TRACE(row.name);
        brimle::DRLogger::shutdown();
        std::filesystem::remove_all(home / "Library/Logs");
        if (row.isFolder)
            std::filesystem::create_directories(home / row.inTheWay);
        else
            testing_support::write(home / row.inTheWay, "a file");
        const std::string output = outputOf([this] {
            delegate->updateThumbnails();
            brimle::DRLogger::shutdown(); // as at the process's exit: the stream is not closed twice
        });
        const auto start = findThumbnailRecord(platform::charactersAsBytes(output));
        ASSERT_TRUE(start);
        const std::string lines = output.substr(0, *start);
        EXPECT_THAT(lines, testing::MatchesRegex("\\[31043\\] .{24}\\| == Opening log session ==\n"
                                                 "\\[31043\\] .{24}\\| saveThumb\n"
                                                 "\\[31043\\] .{24}\\| uuid = 5A0F1E2D-0000-4000-8000-0123456789AB, "
                                                 "l = [0-9]+, m = 0, s = 0\n"));
        EXPECT_FALSE(recordIn(output.substr(*start)).large.empty());
    }
}

} // namespace
} // namespace tessaro
