// Numbers at places in a byte buffer, without reading beyond its end: what is not there reads as 0.
#pragma once

#include "Foundation/NSString.h"

#include <algorithm>
#include <cstddef>

namespace platform {

class ByteReader {
public:
    explicit ByteReader(DataView bytes) : bytes_(bytes) {}

    [[nodiscard]] std::size_t size() const { return bytes_.size(); }
    [[nodiscard]] bool has(std::size_t offset, std::size_t count) const {
        return offset <= bytes_.size() && count <= bytes_.size() - offset;
    }
    [[nodiscard]] bool hasText(std::size_t offset, std::string_view text) const {
        return has(offset, text.size()) && bytesAsCharacters(bytes_.subspan(offset, text.size())) == text;
    }
    // At most `count` bytes from `offset` on.
    [[nodiscard]] DataView part(std::size_t offset, std::size_t count) const {
        const std::size_t start = std::min(offset, bytes_.size());
        return bytes_.subspan(start, std::min(count, bytes_.size() - start));
    }

    [[nodiscard]] std::uint8_t byte(std::size_t offset) const { return has(offset, 1) ? bytes_[offset] : 0; }
    [[nodiscard]] std::uint32_t little16(std::size_t offset) const { return little(offset, 2); }
    [[nodiscard]] std::uint32_t little24(std::size_t offset) const { return little(offset, 3); }
    [[nodiscard]] std::uint32_t little32(std::size_t offset) const { return little(offset, 4); }
    [[nodiscard]] std::uint32_t big16(std::size_t offset) const { return big(offset, 2); }
    [[nodiscard]] std::uint32_t big32(std::size_t offset) const { return big(offset, 4); }

private:
    [[nodiscard]] std::uint32_t little(std::size_t offset, std::size_t count) const {
        std::uint32_t value = 0;
        for (std::size_t i = count; has(offset, count) && i-- > 0;)
            value = value << 8 | bytes_[offset + i];
        return value;
    }
    [[nodiscard]] std::uint32_t big(std::size_t offset, std::size_t count) const {
        std::uint32_t value = 0;
        for (std::size_t i = 0; has(offset, count) && i < count; ++i)
            value = value << 8 | bytes_[offset + i];
        return value;
    }

    DataView bytes_;
};

} // namespace platform
