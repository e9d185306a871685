#include "ICNSPaletteIcons.h"

#include "ImageDecoding.h"

#include <array>

namespace platform {
namespace {

using Colour = std::uint32_t; // 0xRRGGBB

// The Macintosh's standard colour tables ("Inside Macintosh: Imaging With QuickDraw", the 'clut' resources 4 and 8).
constexpr std::array<Colour, 2> twoColours{0xFFFFFF, 0x000000};
constexpr std::array<Colour, 16> sixteenColours{0xFFFFFF, 0xFCF305, 0xFF6402, 0xDD0806, 0xF20884, 0x4600A5,
                                                0x0000D4, 0x02ABEA, 0x1FB714, 0x006411, 0x562C05, 0x90713A,
                                                0xC0C0C0, 0x808080, 0x404040, 0x000000};

// Six levels of each component, from white on, without the black at their end; ten steps more of red, green, blue and
// grey; black.
constexpr auto colours256 = [] {
    constexpr Colour levels = 6;
    constexpr Colour step = 0x33;
    constexpr std::size_t cubeEnd = 215;
    constexpr std::array<Colour, 10> rampSteps{0xEE, 0xDD, 0xBB, 0xAA, 0x88, 0x77, 0x55, 0x44, 0x22, 0x11};
    constexpr std::array<Colour, 4> rampComponents{0x010000, 0x000100, 0x000001, 0x010101};
    std::array<Colour, 256> table{};
    for (Colour i = 0; i < cubeEnd; ++i)
        table[i] = (levels - 1 - i / (levels * levels)) * step << 16 | (levels - 1 - i / levels % levels) * step << 8 |
                   (levels - 1 - i % levels) * step;
    for (std::size_t i = 0; i < rampSteps.size() * rampComponents.size(); ++i)
        table[cubeEnd + i] = rampComponents[i / rampSteps.size()] * rampSteps[i % rampSteps.size()];
    return table;
}();

struct Kind {
    std::string_view name;
    std::string_view maskName; // the entry whose second half is the mask; empty: none
    int wide;
    int high;
    std::size_t bits; // a pixel
};
constexpr Kind kinds[] = {{"ich8", "ich#", 48, 48, 8}, {"icl8", "ICN#", 32, 32, 8}, {"ics8", "ics#", 16, 16, 8},
                          {"icm8", "icm#", 16, 12, 8}, {"ich4", "ich#", 48, 48, 4}, {"icl4", "ICN#", 32, 32, 4},
                          {"ics4", "ics#", 16, 16, 4}, {"icm4", "icm#", 16, 12, 4}, {"ich#", "ich#", 48, 48, 1},
                          {"ICN#", "ICN#", 32, 32, 1}, {"ics#", "ics#", 16, 16, 1}, {"icm#", "icm#", 16, 12, 1},
                          {"ICON", "", 32, 32, 1}};

Colour colourOf(std::size_t bits, std::size_t index) {
    return bits == 8 ? colours256[index] : bits == 4 ? sixteenColours[index] : twoColours[index];
}

// The number of `bits` bits at a place among its like, the first one in the highest bits.
std::size_t numberAt(DataView bytes, std::size_t bits, std::size_t place) {
    const std::size_t bit = place * bits;
    return std::size_t{bytes[bit / 8]} >> (8 - bits - bit % 8) & ((std::size_t{1} << bits) - 1);
}

Representations decodeKind(const Kind& kind, DataView entry, DataView maskEntry, long budget) {
    const auto count = static_cast<std::size_t>(kind.wide) * static_cast<std::size_t>(kind.high);
    if (entry.size() < count * kind.bits / 8 || static_cast<long>(count) > budget)
        return {};
    const std::size_t planeSize = count / 8;
    const DataView mask = maskEntry.size() < 2 * planeSize ? DataView() : maskEntry.subspan(planeSize, planeSize);
    Representations result;
    const auto pixels = result.emplace_back(kind.wide, kind.high).pixels();
    for (std::size_t i = 0; i < count; ++i) {
        const bool isShown = mask.empty() || numberAt(mask, 1, i) == 1;
        pixels[i] = isShown ? 0xFF000000 | colourOf(kind.bits, numberAt(entry, kind.bits, i)) : 0;
    }
    return result;
}

} // namespace

Representations decodePaletteIcons(const std::function<DataView(std::string_view)>& contentOf, long budget) {
    Representations result;
    for (const Kind& kind : kinds)
        append(result, decodeKind(kind, contentOf(kind.name), contentOf(kind.maskName), budget), budget);
    return result;
}

} // namespace platform
