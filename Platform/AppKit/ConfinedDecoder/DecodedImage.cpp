#include "DecodedImage.h"

#include "AppKit/ImageDecoding.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace platform {
namespace {

struct FileHead {
    char magic[4] = {'T', 'D', 'I', '1'};
    std::uint32_t representations = 0;
};

struct RepresentationHead {
    std::int32_t wide = 0;
    std::int32_t high = 0;
    double width = 0;
    double height = 0;
};

constexpr double largestSide = 1'000'000; // points

bool isAcceptable(const RepresentationHead& head) {
    const auto isSide = [](double points) { return std::isfinite(points) && points > 0 && points <= largestSide; };
    return head.wide > 0 && head.wide <= maximumImageSide && head.high > 0 && head.high <= maximumImageSide &&
           isSide(head.width) && isSide(head.height);
}

template <class T>
bool take(DataView& bytes, T& out) {
    if (bytes.size() < sizeof out)
        return false;
    std::memcpy(&out, bytes.data(), sizeof out);
    bytes = bytes.subspan(sizeof out);
    return true;
}

template <class T>
void append(Data& out, const T& value) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&value);
    out.insert(out.end(), bytes, bytes + sizeof value);
}

NSBitmapImageRep::Pixel withColoursWithinAlpha(NSBitmapImageRep::Pixel pixel) {
    const NSBitmapImageRep::Pixel alpha = pixel >> 24;
    const auto channel = [&](unsigned shift) { return std::min(pixel >> shift & 0xFF, alpha) << shift; };
    return alpha << 24 | channel(16) | channel(8) | channel(0);
}

} // namespace

Data writtenDecodedImage(std::span<const NSBitmapImageRep> representations) {
    FileHead head;
    head.representations = static_cast<std::uint32_t>(representations.size());
    std::size_t size = sizeof head;
    for (const NSBitmapImageRep& each : representations)
        size += sizeof(RepresentationHead) + each.pixels().size_bytes();
    Data out;
    out.reserve(size);
    append(out, head);
    for (const NSBitmapImageRep& each : representations) {
        append(out, RepresentationHead{each.pixelsWide(), each.pixelsHigh(), each.size().width, each.size().height});
        const auto* pixels = reinterpret_cast<const std::uint8_t*>(each.pixels().data());
        out.insert(out.end(), pixels, pixels + each.pixels().size_bytes());
    }
    return out;
}

std::vector<NSBitmapImageRep> readDecodedImage(DataView bytes) {
    FileHead head;
    if (!take(bytes, head) || std::memcmp(head.magic, FileHead().magic, sizeof head.magic) != 0 ||
        head.representations > maximumRepresentations)
        return {};
    std::vector<NSBitmapImageRep> representations;
    long pixelsLeft = maximumImagePixels;
    for (std::uint32_t i = 0; i < head.representations; ++i) {
        RepresentationHead next;
        if (!take(bytes, next) || !isAcceptable(next))
            return {};
        const long pixels = static_cast<long>(next.wide) * next.high;
        const std::size_t size = static_cast<std::size_t>(pixels) * sizeof(NSBitmapImageRep::Pixel);
        if (pixels > pixelsLeft || size > bytes.size())
            return {};
        pixelsLeft -= pixels;
        NSBitmapImageRep representation(next.wide, next.high);
        representation.setSize({next.width, next.height});
        std::memcpy(representation.pixels().data(), bytes.data(), size);
        std::ranges::transform(representation.pixels(), representation.pixels().begin(), withColoursWithinAlpha);
        bytes = bytes.subspan(size);
        representations.push_back(std::move(representation));
    }
    return bytes.empty() ? std::move(representations) : std::vector<NSBitmapImageRep>();
}

} // namespace platform
