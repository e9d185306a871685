// Icons with 1, 4 and 8 bits a pixel, in families that are put together here.
#include "AppKit/ImageDecoding.h"

#include "Tests/Support/VectorFile.h"

#include <functional>
#include <gtest/gtest.h>

namespace platform {
namespace {

using testing_support::readVectors;
using testing_support::VectorRow;
using Pixel = NSBitmapImageRep::Pixel;

struct Entry {
    std::string_view name;
    Data content;
};

Data family(const std::vector<Entry>& entries) {
    Data data;
    const auto add = [&data](std::string_view name, std::size_t length) {
        data.insert(data.end(), name.begin(), name.end());
        for (const int shift : {24, 16, 8, 0})
            data.push_back(static_cast<std::uint8_t>(length >> shift));
    };
    std::size_t length = 8;
    for (const Entry& entry : entries)
        length += 8 + entry.content.size();
    add("icns", length);
    for (const Entry& entry : entries) {
        add(entry.name, 8 + entry.content.size());
        data.insert(data.end(), entry.content.begin(), entry.content.end());
    }
    return data;
}

// Numbers of `bits` bits, one behind the other.
Data packed(std::size_t bits, std::size_t count, const std::function<std::size_t(std::size_t)>& numberOf) {
    Data data(count * bits / 8);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t bit = 0; bit < bits; ++bit)
            if ((numberOf(i) >> (bits - 1 - bit) & 1) != 0)
                data[(i * bits + bit) / 8] |= static_cast<std::uint8_t>(0x80 >> (i * bits + bit) % 8);
    return data;
}

Data joined(Data a, const Data& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<Pixel> colours(std::size_t bits) {
    if (bits == 1)
        return {0xFFFFFFFF, 0xFF000000}; // a set bit is ink
    std::vector<Pixel> result;
    for (const VectorRow& row : readVectors("icns/colours.txt")) {
        if (row.number("Bits") != static_cast<int>(bits))
            continue;
        const Data bytes = row.bytes("Colours");
        for (std::size_t i = 0; i + 2 < bytes.size(); i += 3)
            result.push_back(0xFF000000 | Pixel{bytes[i]} << 16 | Pixel{bytes[i + 1]} << 8 | bytes[i + 2]);
    }
    EXPECT_EQ(result.size(), std::size_t{1} << bits);
    return result;
}

struct KindRow {
    std::string_view name;
    std::string_view maskName; // empty: it has none
    int wide;
    int high;
    std::size_t bits;
};

constexpr KindRow kinds[] = {
    {"ICON", "", 32, 32, 1},     {"ICN#", "ICN#", 32, 32, 1}, {"icl4", "ICN#", 32, 32, 4}, {"icl8", "ICN#", 32, 32, 8},
    {"ics#", "ics#", 16, 16, 1}, {"ics4", "ics#", 16, 16, 4}, {"ics8", "ics#", 16, 16, 8}, {"icm#", "icm#", 16, 12, 1},
    {"icm4", "icm#", 16, 12, 4}, {"icm8", "icm#", 16, 12, 8}, {"ich#", "ich#", 48, 48, 1}, {"ich4", "ich#", 48, 48, 4},
    {"ich8", "ich#", 48, 48, 8},
};

std::size_t countOf(const KindRow& kind) {
    return static_cast<std::size_t>(kind.wide) * static_cast<std::size_t>(kind.high);
}

// Numbers that go through all colours, and a mask whose pattern has another period.
std::size_t numberOf(std::size_t i) {
    return i * 7 + i / 16;
}
bool isShown(std::size_t i) {
    return i % 5 != 0;
}

Data entryOf(const KindRow& kind) {
    return packed(kind.bits, countOf(kind), numberOf);
}
Data maskOf(const KindRow& kind) {
    return packed(1, countOf(kind), isShown);
}

void expectPixels(const NSBitmapImageRep& bitmap, const KindRow& kind, bool masked) {
    ASSERT_EQ(bitmap.pixelsWide(), kind.wide) << kind.name;
    ASSERT_EQ(bitmap.pixelsHigh(), kind.high) << kind.name;
    EXPECT_EQ(bitmap.size(), (NSSize{double(kind.wide), double(kind.high)})) << kind.name;
    const std::vector<Pixel> table = colours(kind.bits);
    for (std::size_t i = 0; i < countOf(kind); ++i)
        ASSERT_EQ(bitmap.pixels()[i], masked && !isShown(i) ? 0 : table[numberOf(i) % table.size()])
            << kind.name << " at " << i;
}

TEST(ICNSPaletteIcons, EveryKindWithItsMask) {
    for (const KindRow& kind : kinds) {
        const bool isPair = kind.name == kind.maskName;
        std::vector<Entry> entries{{kind.name, isPair ? joined(entryOf(kind), maskOf(kind)) : entryOf(kind)}};
        if (!isPair && !kind.maskName.empty())
            entries.push_back({kind.maskName, joined(Data(countOf(kind) / 8, 0xFF), maskOf(kind))});
        const auto found = decodeImage(family(entries));
        ASSERT_EQ(found.size(), entries.size()) << kind.name;
        expectPixels(found[0], kind, !kind.maskName.empty());
    }
}

TEST(ICNSPaletteIcons, WithoutAMaskAllOfItShows) {
    for (const KindRow& kind : kinds) {
        const auto found = decodeImage(family({{kind.name, entryOf(kind)}}));
        ASSERT_EQ(found.size(), 1u) << kind.name;
        expectPixels(found[0], kind, false);
    }
}

TEST(ICNSPaletteIcons, EntriesThatAreTooShortArePassedOver) {
    for (const KindRow& kind : kinds) {
        Data entry = entryOf(kind);
        entry.pop_back();
        EXPECT_TRUE(decodeImage(family({{kind.name, entry}})).empty()) << kind.name;
    }
    // A mask that lacks a byte is none.
    const KindRow& kind = kinds[2];
    Data shortPair = joined(Data(128), maskOf(kind));
    shortPair.pop_back();
    const auto found = decodeImage(family({{kind.name, entryOf(kind)}, {kind.maskName, shortPair}}));
    ASSERT_EQ(found.size(), 2u);
    expectPixels(found[0], kind, false);
}

TEST(ICNSPaletteIcons, MoreColoursComeFirstAmongIconsOfOneSize) {
    const Data pair = joined(Data(32), Data(32, 0xFF)); // white
    // Three planes of 256 bytes: six runs of 130, of which the end is too much.
    const Data planes{0xFF, 0xFD, 0xFF, 0xFD, 0xFF, 0xFD, 0xFF, 0xFD, 0xFF, 0xFD, 0xFF, 0xFD};
    const auto found =
        decodeImage(family({{"ics#", pair}, {"ics4", Data(128, 0x66)}, {"ics8", Data(256, 35)}, {"is32", planes}}));
    ASSERT_EQ(found.size(), 4u);
    const Pixel expected[] = {0xFFFDFDFD, 0xFFFF0000, 0xFF0000D4, 0xFFFFFFFF};
    for (std::size_t i = 0; i < found.size(); ++i)
        EXPECT_EQ(found[i].pixelAt(8, 8), expected[i]) << i;
}

} // namespace
} // namespace platform
