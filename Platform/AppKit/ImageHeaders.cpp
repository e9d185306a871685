#include "ImageHeaders.h"

#include "AnimationFrames.h"
#include "ByteReader.h"
#include "ImageDecoding.h"

namespace platform {
namespace {

using namespace std::string_view_literals;

struct Signature {
    ImageType type;
    std::size_t offset;
    std::string_view text;
};

constexpr Signature signatures[] = {
    {ImageType::PNG, 0, "\x89PNG\r\n\x1A\n"sv},
    {ImageType::JPEG, 0, "\xFF\xD8\xFF"sv},
    {ImageType::GIF, 0, "GIF87a"sv},
    {ImageType::GIF, 0, "GIF89a"sv},
    {ImageType::BMP, 0, "BM"sv},
    {ImageType::TIFF, 0, "II*\0"sv},
    {ImageType::TIFF, 0, "MM\0*"sv},
    {ImageType::WebP, 8, "WEBPVP8"sv},
    {ImageType::ICO, 0, "\0\0\1\0"sv},
    {ImageType::ICO, 0, "\0\0\2\0"sv}, // a cursor: the same, with a hot spot
    {ImageType::ICNS, 0, "icns"sv},
    {ImageType::JPEG2000, 0, "\0\0\0\x0CjP  \r\n\x87\n"sv},
    {ImageType::JPEG2000, 0, "\xFF\x4F\xFF\x51"sv},
};

PixelSize sizeOfPNG(const ByteReader& bytes) {
    return bytes.hasText(12, "IHDR") ? PixelSize{bytes.big32(16), bytes.big32(20)} : PixelSize{};
}

bool isFrameMarker(std::uint8_t marker) {
    constexpr std::uint8_t notFrames[] = {0xC4, 0xC8, 0xCC};
    return marker >= 0xC0 && marker <= 0xCF &&
           std::find(std::begin(notFrames), std::end(notFrames), marker) == std::end(notFrames);
}

// A scan over a large picture may be a few bytes long and costs as much as any other: cameras and web tools make at
// most about ten.
bool hasTooManyScans(DataView data) {
    constexpr int enough = 64;
    constexpr std::uint8_t startOfScan[] = {0xFF, 0xDA};
    int scans = 0;
    for (auto at = data.begin();
         (at = std::search(at, data.end(), std::begin(startOfScan), std::end(startOfScan))) != data.end(); ++at)
        if (++scans > enough)
            return true;
    return false;
}

PixelSize sizeOfJPEG(const ByteReader& bytes) {
    for (std::size_t at = 2; bytes.has(at, 4);) {
        if (bytes.byte(at) != 0xFF) { // what decoders skip between segments
            ++at;
            continue;
        }
        const std::uint8_t marker = bytes.byte(at + 1);
        const bool standsAlone = marker == 0xFF || marker <= 0x01 || (marker >= 0xD0 && marker <= 0xD8);
        if (standsAlone) {
            at += marker == 0xFF ? 1 : 2;
            continue;
        }
        if (isFrameMarker(marker))
            return {bytes.big16(at + 7), bytes.big16(at + 5)};
        if (marker == 0xD9 || marker == 0xDA)
            break;
        at += 2 + bytes.big16(at + 2);
    }
    return {};
}

// The canvas, or more where the first picture sticks out of it.
PixelSize sizeOfGIF(const ByteReader& bytes) {
    const std::size_t at = firstPictureOfGIF(bytes);
    return {std::max(bytes.little16(6), bytes.little16(at + 1) + bytes.little16(at + 5)),
            std::max(bytes.little16(8), bytes.little16(at + 3) + bytes.little16(at + 7))};
}

PixelSize sizeOfBMP(const ByteReader& bytes) {
    constexpr std::uint32_t oldHeader = 12;
    if (bytes.little32(14) == oldHeader)
        return {bytes.little16(18), bytes.little16(20)};
    const std::uint32_t high = bytes.little32(22);
    const bool isTopDown = high >> 31 != 0; // a negative height
    return {bytes.little32(18), isTopDown ? 0u - high : high};
}

PixelSize sizeOfWebP(const ByteReader& bytes) {
    constexpr std::uint32_t fourteenBits = 0x3FFF;
    if (bytes.hasText(12, "VP8X"))
        return {bytes.little24(24) + 1, bytes.little24(27) + 1};
    if (bytes.hasText(12, "VP8L")) {
        const std::uint32_t bits = bytes.little32(21);
        return {(bits & fourteenBits) + 1, (bits >> 14 & fourteenBits) + 1};
    }
    return {bytes.little16(26) & fourteenBits, bytes.little16(28) & fourteenBits};
}

PixelSize sizeOf(const ByteReader& bytes, ImageType type) {
    switch (type) {
    case ImageType::PNG:
        return sizeOfPNG(bytes);
    case ImageType::JPEG:
        return sizeOfJPEG(bytes);
    case ImageType::GIF:
        return sizeOfGIF(bytes);
    case ImageType::BMP:
        return sizeOfBMP(bytes);
    case ImageType::WebP:
        return sizeOfWebP(bytes);
    case ImageType::TIFF:
    case ImageType::ICO:
    case ImageType::ICNS:
    case ImageType::JPEG2000:
        break;
    }
    return {};
}

} // namespace

std::optional<ImageType> sniffImageType(DataView data) {
    const ByteReader bytes(data);
    for (const Signature& signature : signatures)
        if (bytes.hasText(signature.offset, signature.text))
            return signature.type;
    return std::nullopt;
}

std::optional<PixelSize> declaredSize(DataView data, ImageType type) {
    const PixelSize size = sizeOf(ByteReader(data), type);
    if (size.wide == 0 || size.high == 0 || (type == ImageType::JPEG && hasTooManyScans(data)))
        return std::nullopt;
    return size;
}

bool isAcceptable(PixelSize size, long budget) {
    return size.wide >= 1 && size.high >= 1 && size.wide <= maximumImageSide && size.high <= maximumImageSide &&
           static_cast<long>(size.wide) * static_cast<long>(size.high) <= budget;
}

} // namespace platform
