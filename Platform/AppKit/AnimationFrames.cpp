#include "AnimationFrames.h"

namespace platform {
namespace {

// Behind the data blocks that begin at `at`, each with its length in front, the last one empty.
std::size_t behindBlocks(const ByteReader& bytes, std::size_t at) {
    while (bytes.byte(at) != 0)
        at += 1u + bytes.byte(at);
    return std::min(at + 1, bytes.size());
}

std::size_t colourTableBytes(std::uint8_t flags) {
    return flags & 0x80 ? std::size_t{3} << ((flags & 7) + 1) : 0;
}

void putLittle(Data& data, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i, value >>= 8)
        data.push_back(static_cast<std::uint8_t>(value));
}

void putText(Data& data, std::string_view text) {
    data.insert(data.end(), text.begin(), text.end());
}

// A WebP file around the chunks of one frame. A separate alpha plane needs the extended header.
Data stillWebP(DataView chunks, PixelSize size) {
    constexpr std::uint32_t extendedHeader = 10;
    constexpr std::uint32_t alphaFlag = 0x10;
    const bool hasAlphaPlane = ByteReader(chunks).hasText(0, "ALPH");
    const std::size_t extra = hasAlphaPlane ? 8 + extendedHeader : 0;
    Data file;
    putText(file, "RIFF");
    putLittle(file, static_cast<std::uint32_t>(4 + extra + chunks.size()), 4);
    putText(file, "WEBP");
    if (hasAlphaPlane) {
        putText(file, "VP8X");
        putLittle(file, extendedHeader, 4);
        putLittle(file, alphaFlag, 4);
        putLittle(file, size.wide - 1, 3);
        putLittle(file, size.high - 1, 3);
    }
    file.insert(file.end(), chunks.begin(), chunks.end());
    return file;
}

} // namespace

std::size_t firstPictureOfGIF(const ByteReader& bytes) {
    constexpr std::uint8_t extension = 0x21;
    constexpr std::uint8_t picture = 0x2C;
    std::size_t at = 13 + colourTableBytes(bytes.byte(10));
    while (bytes.byte(at) == extension)
        at = behindBlocks(bytes, at + 2);
    return bytes.byte(at) == picture && bytes.has(at, 10) ? at : bytes.size();
}

Data firstFrameOfGIF(DataView data) {
    constexpr std::uint8_t trailer = 0x3B;
    const ByteReader bytes(data);
    const std::size_t picture = firstPictureOfGIF(bytes);
    if (picture >= data.size())
        return {};
    const std::size_t blocks = picture + 10 + colourTableBytes(bytes.byte(picture + 9)) + 1;
    const DataView kept = bytes.part(0, behindBlocks(bytes, blocks));
    Data result(kept.begin(), kept.end());
    result.push_back(trailer);
    return result;
}

bool isAnimatedWebP(DataView data) {
    constexpr std::uint8_t animationFlag = 0x02;
    const ByteReader bytes(data);
    return bytes.hasText(12, "VP8X") && (bytes.byte(20) & animationFlag) != 0;
}

std::optional<WebPFrame> firstFrameOfWebP(DataView data) {
    constexpr std::size_t heading = 8; // name and length of a chunk
    constexpr std::size_t frameHeader = 16;
    const ByteReader bytes(data);
    WebPFrame frame;
    frame.canvas = {bytes.little24(24) + 1, bytes.little24(27) + 1};
    for (std::size_t at = 12; bytes.has(at, heading);) {
        const std::size_t length = bytes.little32(at + 4);
        const std::size_t content = at + heading;
        if (bytes.hasText(at, "ANMF")) {
            if (length < frameHeader || !bytes.has(content, length))
                return std::nullopt;
            frame.left = 2 * bytes.little24(content);
            frame.top = 2 * bytes.little24(content + 3);
            frame.size = {bytes.little24(content + 6) + 1, bytes.little24(content + 9) + 1};
            if (frame.left + frame.size.wide > frame.canvas.wide || frame.top + frame.size.high > frame.canvas.high)
                return std::nullopt;
            frame.file = stillWebP(bytes.part(content + frameHeader, length - frameHeader), frame.size);
            return frame;
        }
        at = content + length + length % 2;
    }
    return std::nullopt;
}

} // namespace platform
