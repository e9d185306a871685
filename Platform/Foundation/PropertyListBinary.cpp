// The binary form: "bplist0?", the objects, a table with the offset of each, and a trailer of 32 bytes that says where
// the table is and how wide its numbers are. All numbers are big-endian. An object opens with a marker byte, its kind
// in the upper half and its size in the lower; 15 there means that an integer object with the size follows.
#include "PropertyListReading.h"

#include <bit>

namespace platform {
namespace {

constexpr std::size_t headBytes = 8;
constexpr std::size_t trailerBytes = 32;

class BinaryReader {
public:
    explicit BinaryReader(DataView data) : data_(data) {}

    [[nodiscard]] std::optional<PropertyList> read() {
        if (data_.size() < headBytes + trailerBytes)
            return std::nullopt;
        const std::size_t trailer = data_.size() - trailerBytes;
        offsetBytes_ = data_[trailer + 6];
        referenceBytes_ = data_[trailer + 7];
        objects_ = integerAt(trailer + 8, 8);
        table_ = integerAt(trailer + 24, 8);
        const auto isWidth = [](std::size_t bytes) { return bytes >= 1 && bytes <= 8; };
        if (!isWidth(offsetBytes_) || !isWidth(referenceBytes_) || table_ < headBytes || table_ > trailer ||
            objects_ > (trailer - table_) / offsetBytes_)
            return std::nullopt;
        return object(integerAt(trailer + 16, 8), 1);
    }

private:
    using Result = std::optional<PropertyList>;

    // The object's content behind its marker: `size` units from `begin`.
    struct Content {
        unsigned kind;
        std::size_t begin;
        std::size_t size;
    };

    [[nodiscard]] std::uint64_t integerAt(std::size_t position, std::size_t bytes) const {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i)
            value = value << 8 | data_[position + i];
        return value;
    }
    [[nodiscard]] bool holds(std::size_t position, std::size_t count, std::size_t unitBytes) const {
        return position <= table_ && count <= (table_ - position) / unitBytes;
    }

    [[nodiscard]] std::optional<Content> contentOf(std::size_t object) const {
        if (object >= objects_)
            return std::nullopt;
        const std::size_t at = integerAt(table_ + object * offsetBytes_, offsetBytes_);
        if (at < headBytes || at >= table_)
            return std::nullopt;
        const unsigned marker = data_[at];
        Content content{marker >> 4, at + 1, marker & 0x0F};
        if (content.kind < 0x4 || content.size != 0x0F)
            return content;
        // The size stands in an integer object of its own.
        if (!holds(at + 1, 1, 1) || data_[at + 1] >> 4u != 0x1 || (data_[at + 1] & 0x0Fu) > 3)
            return std::nullopt;
        const std::size_t bytes = std::size_t{1} << (data_[at + 1] & 0x0Fu);
        if (!holds(at + 2, bytes, 1))
            return std::nullopt;
        content.size = integerAt(at + 2, bytes);
        content.begin = at + 2 + bytes;
        return content;
    }

    [[nodiscard]] Result object(std::size_t number, std::size_t depth) {
        const auto content = contentOf(number);
        if (!content || depth > deepestPropertyList || !budget_.spendValue())
            return std::nullopt;
        switch (content->kind) {
        case 0x0:
            if (content->size != 8 && content->size != 9)
                return std::nullopt;
            return PropertyList{content->size == 9};
        case 0x1:
            return integer(*content);
        case 0x2:
            return real(*content);
        case 0x3:
            if (content->size != 3 || !holds(content->begin, 8, 1))
                return std::nullopt;
            return PropertyList{PropertyListDate{std::bit_cast<double>(integerAt(content->begin, 8))}};
        case 0x4:
            return data(*content);
        case 0x5:
        case 0x6:
            if (auto read = text(*content))
                return PropertyList{*std::move(read)};
            return std::nullopt;
        case 0xA:
            return array(*content, depth);
        case 0xD:
            return dictionary(*content, depth);
        default: // sets and the archiver's identifiers stand in no property list of values
            return std::nullopt;
        }
    }

    [[nodiscard]] Result integer(const Content& content) const {
        if (content.size > 4 || !holds(content.begin, std::size_t{1} << content.size, 1))
            return std::nullopt;
        const std::size_t bytes = std::size_t{1} << content.size;
        // 1, 2 and 4 bytes are unsigned, 8 are signed; of 16, which hold what is larger, the lower half counts.
        const std::size_t used = bytes < 8 ? bytes : 8;
        return PropertyList{static_cast<std::int64_t>(integerAt(content.begin + bytes - used, used))};
    }

    [[nodiscard]] Result real(const Content& content) const {
        if (content.size == 2 && holds(content.begin, 4, 1)) {
            const auto bits = static_cast<std::uint32_t>(integerAt(content.begin, 4));
            return PropertyList{static_cast<double>(std::bit_cast<float>(bits))};
        }
        if (content.size == 3 && holds(content.begin, 8, 1))
            return PropertyList{std::bit_cast<double>(integerAt(content.begin, 8))};
        return std::nullopt;
    }

    [[nodiscard]] Result data(const Content& content) {
        if (!holds(content.begin, content.size, 1) || !budget_.spendBytes(content.size))
            return std::nullopt;
        const DataView bytes = data_.subspan(content.begin, content.size);
        return PropertyList{Data(bytes.begin(), bytes.end())};
    }

    [[nodiscard]] std::optional<String> text(const Content& content) {
        const std::size_t unitBytes = content.kind == 0x6 ? 2 : 1;
        if (!holds(content.begin, content.size, unitBytes) || !budget_.spendBytes(content.size * unitBytes))
            return std::nullopt;
        String out;
        out.reserve(content.size);
        for (std::size_t i = 0; i < content.size; ++i)
            out.push_back(static_cast<char16_t>(integerAt(content.begin + i * unitBytes, unitBytes)));
        return out;
    }

    [[nodiscard]] std::size_t reference(const Content& content, std::size_t index) const {
        return integerAt(content.begin + index * referenceBytes_, referenceBytes_);
    }

    [[nodiscard]] Result array(const Content& content, std::size_t depth) {
        if (!holds(content.begin, content.size, referenceBytes_))
            return std::nullopt;
        PropertyList::Array values;
        for (std::size_t i = 0; i < content.size; ++i) {
            auto value = object(reference(content, i), depth + 1);
            if (!value)
                return std::nullopt;
            values.push_back(*std::move(value));
        }
        return PropertyList{std::move(values)};
    }

    // All keys, then all objects.
    [[nodiscard]] Result dictionary(const Content& content, std::size_t depth) {
        if (!holds(content.begin, content.size, 2 * referenceBytes_))
            return std::nullopt;
        PropertyList::Dictionary entries;
        for (std::size_t i = 0; i < content.size; ++i) {
            const auto keyContent = contentOf(reference(content, i));
            if (!keyContent || (keyContent->kind != 0x5 && keyContent->kind != 0x6))
                return std::nullopt;
            auto key = text(*keyContent);
            auto value = object(reference(content, content.size + i), depth + 1);
            if (!key || !value)
                return std::nullopt;
            entries.push_back({*std::move(key), *std::move(value)});
        }
        return PropertyList{std::move(entries)};
    }

    DataView data_;
    PropertyListBudget budget_;
    std::size_t offsetBytes_ = 0;
    std::size_t referenceBytes_ = 0;
    std::size_t objects_ = 0;
    std::size_t table_ = 0;
};

} // namespace

std::optional<PropertyList> readBinaryPropertyList(DataView data) {
    return BinaryReader(data).read();
}

} // namespace platform
