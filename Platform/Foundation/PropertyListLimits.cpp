#include "PropertyListLimits.h"

namespace platform {
namespace {

constexpr std::string_view whiteSpace = " \t\r\n";
constexpr auto npos = std::string_view::npos;

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(whiteSpace);
    if (begin == npos)
        return {};
    return text.substr(begin, text.find_last_not_of(whiteSpace) - begin + 1);
}

bool isInteger(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('-') || text.starts_with('+'))
        text.remove_prefix(1);
    std::string_view digits = "0123456789";
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        digits = "0123456789abcdefABCDEF";
    }
    return !text.empty() && text.find_first_not_of(digits) == npos;
}

// The tags of a document, one after the other.
class TagScanner {
public:
    TagScanner(std::string_view text, const PropertyListLimits &limits) : text_(text), limits_(limits) {}

    [[nodiscard]] bool isSound() {
        for (std::size_t tag = text_.find('<'); tag != npos; tag = text_.find('<', position_)) {
            if (!acceptsText(text_.substr(position_, tag - position_)))
                return false;
            position_ = tag;
            if (!passTag())
                return false;
        }
        return depth_ == 0 && rootSeen_ && acceptsText(text_.substr(position_));
    }

private:
    [[nodiscard]] bool acceptsText(std::string_view text) const {
        if (depth_ == 0)
            return trimmed(text).empty();
        return true;
    }

    // Moves behind the next `end`; false when there is none.
    bool passThrough(std::string_view end) {
        const std::size_t found = text_.find(end, position_);
        position_ = found == npos ? text_.size() : found + end.size();
        return found != npos;
    }

    bool passTag() {
        const std::string_view rest = text_.substr(position_);
        if (rest.starts_with("<!--"))
            return passThrough("-->");
        if (rest.starts_with("<![CDATA["))
            return depth_ > 0 && passThrough("]]>");
        if (rest.starts_with("<?"))
            return passThrough("?>");
        if (!passThrough(">"))
            return false;
        const std::string_view tag = rest.substr(0, static_cast<std::size_t>(text_.data() + position_ - rest.data()));
        if (tag.starts_with("<!"))
            return !rootSeen_ && tag.find('[') == npos;
        return tag.starts_with("</") ? closeElement() : openElement(tag);
    }

    bool closeElement() { return depth_-- > 0; }

    bool openElement(std::string_view tag) {
        std::size_t quotes = 0;
        for (const char c : tag)
            quotes += c == '"' || c == '\'' ? 1 : 0;
        if (quotes % 2 != 0 || ++values_ > limits_.values || (depth_ == 0 && rootSeen_))
            return false;
        rootSeen_ = true;
        if (tag.ends_with("/>"))
            return tag != "<integer/>";
        if (tag == "<integer>" && !isInteger(text_.substr(position_, text_.find('<', position_) - position_)))
            return false;
        return ++depth_ <= limits_.depth;
    }

    std::string_view text_;
    PropertyListLimits limits_;
    std::size_t position_ = 0;
    std::size_t depth_ = 0;
    std::size_t values_ = 0;
    bool rootSeen_ = false;
};

// The objects of a binary file, from the top one down.
class ObjectWalk {
public:
    ObjectWalk(DataView data, const PropertyListLimits &limits) : data_(data), limits_(limits) {}

    [[nodiscard]] bool isSound() {
        constexpr std::size_t headBytes = 8;
        constexpr std::size_t trailerBytes = 32;
        if (data_.size() < headBytes + trailerBytes)
            return false;
        const std::size_t trailer = data_.size() - trailerBytes;
        offsetBytes_ = data_[trailer + 6];
        referenceBytes_ = data_[trailer + 7];
        objects_ = integerAt(trailer + 8, 8);
        const std::size_t top = integerAt(trailer + 16, 8);
        table_ = integerAt(trailer + 24, 8);
        if (offsetBytes_ == 0 || offsetBytes_ > 8 || referenceBytes_ == 0 || referenceBytes_ > 8 || table_ > trailer ||
            objects_ > (trailer - table_) / offsetBytes_)
            return false;
        pending_.push_back({top, 1});
        while (!pending_.empty()) {
            const Pending next = pending_.back();
            pending_.pop_back();
            if (!visit(next.object, next.depth))
                return false;
        }
        return true;
    }

private:
    struct Pending {
        std::size_t object;
        std::size_t depth;
    };

    [[nodiscard]] std::size_t integerAt(std::size_t position, std::size_t bytes) const {
        std::size_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i)
            value = value << 8 | data_[position + i];
        return value;
    }

    bool visit(std::size_t object, std::size_t depth) {
        if (object >= objects_ || depth > limits_.depth || ++values_ > limits_.values)
            return false;
        std::size_t at = integerAt(table_ + object * offsetBytes_, offsetBytes_);
        if (at >= table_)
            return false;
        const unsigned kind = data_[at] >> 4;
        const unsigned low = data_[at] & 0x0F;
        ++at;
        // Simple values, integers, reals, dates and identifiers have a fixed size of at most 16 bytes.
        if (kind < 0x4 || kind == 0x8)
            return at + (kind == 0 ? 0 : kind == 0x8 ? low + 1 : std::size_t{1} << (low & 0x7)) <= table_;
        std::size_t count = low;
        if (low == 0x0F && !readCount(at, count))
            return false;
        switch (kind) {
        case 0x4: // data
        case 0x5: // ASCII
        case 0x7: // UTF-8
            return addBytes(at, count, 1);
        case 0x6: // UTF-16
            return addBytes(at, count, 2);
        case 0xA: // array
        case 0xC: // set
            return addReferences(at, count, depth);
        case 0xD: // dictionary: the keys, then the objects
            return count <= limits_.values && addReferences(at, count * 2, depth);
        default:
            return false;
        }
    }

    bool readCount(std::size_t &at, std::size_t &count) const {
        if (at >= table_ || data_[at] >> 4 != 0x1 || (data_[at] & 0x0F) > 3)
            return false;
        const std::size_t bytes = std::size_t{1} << (data_[at] & 0x0F);
        ++at;
        if (bytes > table_ - at)
            return false;
        count = integerAt(at, bytes);
        at += bytes;
        return true;
    }

    bool addBytes(std::size_t at, std::size_t count, std::size_t unitBytes) {
        if (count > (table_ - at) / unitBytes)
            return false;
        expandedBytes_ += count * unitBytes;
        return expandedBytes_ <= limits_.expandedBytes;
    }

    bool addReferences(std::size_t at, std::size_t count, std::size_t depth) {
        if (count > (table_ - at) / referenceBytes_ || count + pending_.size() + values_ > limits_.values)
            return false;
        for (std::size_t i = 0; i < count; ++i)
            pending_.push_back({integerAt(at + i * referenceBytes_, referenceBytes_), depth + 1});
        return true;
    }

    DataView data_;
    PropertyListLimits limits_;
    std::size_t offsetBytes_ = 0;
    std::size_t referenceBytes_ = 0;
    std::size_t objects_ = 0;
    std::size_t table_ = 0;
    std::size_t values_ = 0;
    std::size_t expandedBytes_ = 0;
    std::vector<Pending> pending_;
};

} // namespace

bool isSoundXMLPropertyList(std::string_view text, const PropertyListLimits &limits) {
    return text.size() <= limits.fileBytes && TagScanner(text, limits).isSound();
}

bool isSoundBinaryPropertyList(DataView data, const PropertyListLimits &limits) {
    return data.size() <= limits.fileBytes && ObjectWalk(data, limits).isSound();
}

} // namespace platform
