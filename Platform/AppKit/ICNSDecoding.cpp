#include "ByteReader.h"
#include "Decoders.h"
#include "ICNSPaletteIcons.h"
#include "ImageDecoding.h"

namespace platform {
namespace {

// 24-bit icons and the entry with their mask.
struct MaskedKind {
    std::string_view name;
    std::string_view maskName;
    int side;
    std::size_t offset; // of the colours inside the entry
};
constexpr MaskedKind maskedKinds[] = {
    {"is32", "s8mk", 16, 0}, {"il32", "l8mk", 32, 0}, {"ih32", "h8mk", 48, 0}, {"it32", "t8mk", 128, 4}};

// Entries that hold a whole PNG or JPEG 2000 file, or "ARGB" and compressed planes. `points` is what their pixels stand
// for where it is not one point a pixel.
struct FileKind {
    std::string_view name;
    int side; // in pixels
    int points;
};
constexpr FileKind fileKinds[] = {
    {"icp4", 16, 16},    {"icp5", 32, 32}, {"icp6", 64, 64}, {"ic07", 128, 128}, {"ic08", 256, 256}, {"ic09", 512, 512},
    {"ic10", 1024, 512}, {"ic11", 32, 16}, {"ic12", 64, 32}, {"ic13", 256, 128}, {"ic14", 512, 256}, {"ic04", 16, 16},
    {"ic05", 32, 16},    {"icsb", 18, 18}, {"icsB", 36, 18}, {"sb24", 24, 24},   {"SB24", 48, 24}};

// A plane's bytes: below 128 so many and one more follow as they are, from 128 on the next one is repeated, less 125.
bool expandPlanes(DataView packed, std::size_t count, Data& out) {
    out.reserve(count);
    for (std::size_t at = 0; out.size() < count;) {
        if (at + 1 >= packed.size())
            return false;
        const std::size_t control = packed[at++];
        if (control < 128) {
            const std::size_t length = std::min({control + 1, packed.size() - at, count - out.size()});
            out.insert(out.end(), packed.begin() + static_cast<std::ptrdiff_t>(at),
                       packed.begin() + static_cast<std::ptrdiff_t>(at + length));
            at += control + 1;
        } else {
            out.insert(out.end(), std::min(control - 125, count - out.size()), packed[at++]);
        }
    }
    return true;
}

struct Planes {
    DataView alpha; // empty: opaque
    DataView red;
    DataView green;
    DataView blue;
};

Representations bitmapFromPlanes(int side, const Planes& planes, long budget) {
    if (static_cast<long>(side) * side > budget)
        return {};
    Representations result;
    const auto pixels = result.emplace_back(side, side).pixels();
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = premultipliedPixel(planes.red[i], planes.green[i], planes.blue[i],
                                       planes.alpha.empty() ? 255u : planes.alpha[i]);
    return result;
}

std::size_t planeSize(int side) {
    return static_cast<std::size_t>(side) * static_cast<std::size_t>(side);
}

Representations decodeMasked(const MaskedKind& kind, DataView entry, DataView mask, long budget) {
    const std::size_t plane = planeSize(kind.side);
    const DataView packed = ByteReader(entry).part(kind.offset, entry.size());
    Data colours;
    if (!expandPlanes(packed, 3 * plane, colours))
        return {};
    const DataView all(colours);
    const bool hasMask = mask.size() >= plane;
    return bitmapFromPlanes(kind.side,
                            {hasMask ? mask.first(plane) : DataView(), all.first(plane), all.subspan(plane, plane),
                             all.subspan(2 * plane, plane)},
                            budget);
}

Representations decodeARGB(const FileKind& kind, DataView entry, long budget) {
    const std::size_t plane = planeSize(kind.side);
    Data planes;
    if (!expandPlanes(entry.subspan(4), 4 * plane, planes))
        return {};
    const DataView all(planes);
    return bitmapFromPlanes(
        kind.side,
        {all.first(plane), all.subspan(plane, plane), all.subspan(2 * plane, plane), all.subspan(3 * plane, plane)},
        budget);
}

Representations decodeFile(const FileKind& kind, DataView entry, long budget) {
    if (ByteReader(entry).hasText(0, "ARGB"))
        return decodeARGB(kind, entry, budget);
    const auto type = sniffImageType(entry);
    if (type == ImageType::PNG)
        return decodeWithPixbuf(entry, *type, budget);
    if (type == ImageType::JPEG2000)
        return decodeJPEG2000(entry, budget);
    return {};
}

struct Entry {
    std::string_view name;
    DataView content;
};

std::vector<Entry> entriesOf(DataView data) {
    constexpr std::size_t heading = 8; // name and length
    constexpr std::size_t most = 4 * maximumRepresentations;
    const ByteReader bytes(data);
    std::vector<Entry> entries;
    for (std::size_t at = heading; bytes.has(at, heading) && entries.size() < most;) {
        const std::size_t length = bytes.big32(at + 4);
        if (length < heading)
            break;
        entries.push_back({bytesAsCharacters(bytes.part(at, 4)), bytes.part(at + heading, length - heading)});
        at += length;
    }
    return entries;
}

DataView contentOf(const std::vector<Entry>& entries, std::string_view name) {
    for (const Entry& entry : entries)
        if (entry.name == name)
            return entry.content;
    return {};
}

} // namespace

Representations decodeICNS(DataView data, long budget) {
    const std::vector<Entry> entries = entriesOf(data);
    Representations result;
    for (const Entry& entry : entries) {
        if (result.size() >= maximumRepresentations)
            break;
        for (const MaskedKind& kind : maskedKinds)
            if (entry.name == kind.name)
                append(result, decodeMasked(kind, entry.content, contentOf(entries, kind.maskName), budget), budget);
        for (const FileKind& kind : fileKinds)
            if (entry.name == kind.name) {
                Representations found = decodeFile(kind, entry.content, budget);
                for (auto& representation : found) // sized by the family, whatever an entry's own resolution says
                    representation.setSize(
                        {static_cast<double>(representation.pixelsWide()) * kind.points / kind.side,
                         static_cast<double>(representation.pixelsHigh()) * kind.points / kind.side});
                append(result, std::move(found), budget);
            }
    }
    // Behind the others, so that of two icons of one size the one with more colours is drawn.
    Representations older = decodePaletteIcons([&](std::string_view name) { return contentOf(entries, name); }, budget);
    older.erase(older.begin() +
                    static_cast<std::ptrdiff_t>(std::min(older.size(), maximumRepresentations - result.size())),
                older.end());
    append(result, std::move(older), budget);
    return result;
}

} // namespace platform
