// The XML form: <plist> around one value; UTF-8. GLib's markup parser reads the tags; it knows no entities but the
// five of XML, so nothing can be declared that grows.
#include "PropertyListReading.h"

#include <array>
#include <charconv>
#include <ctime>
#include <glib.h>
#include <memory>

namespace platform {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view whiteSpace = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(whiteSpace);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(whiteSpace) - begin + 1);
}

// Decimal or 0x-hexadecimal with an optional sign, modulo 2^64.
std::optional<std::int64_t> integerFrom(std::string_view text) {
    text = trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal)
        text.remove_prefix(2);
    std::uint64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size())
        return std::nullopt;
    return static_cast<std::int64_t>(negative ? 0 - value : value);
}

std::optional<double> realFrom(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('+'))
        text.remove_prefix(1);
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size())
        return std::nullopt;
    return value;
}

// "2011-06-20T13:42:56Z", nothing else.
std::optional<PropertyListDate> dateFrom(std::string_view text) {
    text = trimmed(text);
    constexpr std::string_view shape = "dddd-dd-ddTdd:dd:ddZ";
    if (text.size() != shape.size())
        return std::nullopt;
    std::array<int, 6> fields{};
    for (std::size_t i = 0, field = 0; i < shape.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == 'd' ? !digit : text[i] != shape[i])
            return std::nullopt;
        if (shape[i] == 'd')
            fields.at(field) = fields.at(field) * 10 + (text[i] - '0');
        else
            ++field;
    }
    std::tm when{};
    when.tm_year = fields[0] - 1900;
    when.tm_mon = fields[1] - 1;
    when.tm_mday = fields[2];
    when.tm_hour = fields[3];
    when.tm_min = fields[4];
    when.tm_sec = fields[5];
    constexpr double secondsFrom1970To2001 = 978307200;
    return PropertyListDate{static_cast<double>(timegm(&when)) - secondsFrom1970To2001};
}

std::optional<Data> dataFrom(std::string_view text) {
    std::string base64;
    for (const char c : text) {
        if (g_ascii_isspace(c))
            continue;
        if (!g_ascii_isalnum(c) && c != '+' && c != '/' && c != '=')
            return std::nullopt;
        base64.push_back(c);
    }
    if (base64.size() % 4 != 0)
        return std::nullopt;
    gsize length = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(base64.c_str(), &length), g_free);
    return Data(bytes.get(), bytes.get() + length);
}

// The values that are open, from the root inwards; handed the tags by GLib.
class XMLReader {
public:
    [[nodiscard]] std::optional<PropertyList> read(std::string_view text) {
        static constexpr GMarkupParser callbacks = {
            [](GMarkupParseContext*, const gchar* name, const gchar**, const gchar**, gpointer self, GError** error) {
                check(static_cast<XMLReader*>(self)->open(name), error);
            },
            [](GMarkupParseContext*, const gchar* name, gpointer self, GError** error) {
                check(static_cast<XMLReader*>(self)->close(name), error);
            },
            [](GMarkupParseContext*, const gchar* characters, gsize length, gpointer self, GError** error) {
                check(static_cast<XMLReader*>(self)->addText({characters, length}), error);
            },
            [](GMarkupParseContext*, const gchar* characters, gsize length, gpointer, GError** error) {
                // A document type may name an outer file, which is not read, but not declare anything itself.
                const std::string_view aside(characters, length);
                check(!aside.starts_with("<!DOCTYPE") || aside.find('[') == std::string_view::npos, error);
            },
            nullptr};
        const std::unique_ptr<GMarkupParseContext, decltype(&g_markup_parse_context_free)> context(
            g_markup_parse_context_new(&callbacks, G_MARKUP_TREAT_CDATA_AS_TEXT, this, nullptr),
            g_markup_parse_context_free);
        const bool complete =
            g_markup_parse_context_parse(context.get(), text.data(), static_cast<gssize>(text.size()), nullptr) &&
            g_markup_parse_context_end_parse(context.get(), nullptr);
        return complete ? std::move(root_) : std::nullopt;
    }

private:
    struct Open {
        std::string name;
        std::string text;
        PropertyList value;
        std::optional<String> key; // of a dictionary: read, its object not yet
    };

    static void check(bool good, GError** error) {
        if (!good)
            g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "not a property list");
    }

    [[nodiscard]] static bool isContainer(std::string_view name) {
        return name == "plist" || name == "array" || name == "dict";
    }

    // Texts that are not yet closed are as deep as they are; a value inside a text is refused.
    bool open(std::string_view name) {
        if ((open_.empty() && rootIsClosed_) || open_.size() >= deepestPropertyList || !budget_.spendValue())
            return false;
        if (!open_.empty() && (!isContainer(open_.back().name) || name == "plist"))
            return false;
        if (name == "key" && (open_.empty() || open_.back().name != "dict" || open_.back().key))
            return false;
        if (name != "key" && !open_.empty() && open_.back().name == "dict" && !open_.back().key)
            return false;
        open_.push_back({std::string(name), {}, {}, {}});
        if (name == "array")
            open_.back().value.value = PropertyList::Array();
        if (name == "dict")
            open_.back().value.value = PropertyList::Dictionary();
        return true;
    }

    bool addText(std::string_view text) {
        if (open_.empty() || isContainer(open_.back().name))
            return trimmed(text).empty();
        open_.back().text += text;
        return budget_.spendBytes(text.size());
    }

    bool close(std::string_view name) {
        Open closed = std::move(open_.back());
        open_.pop_back();
        if (name == "plist") {
            rootIsClosed_ = true;
            return root_.has_value();
        }
        if (name == "dict" && closed.key)
            return false;
        if (name == "key") {
            open_.back().key = stringWithUTF8(closed.text);
            return open_.back().key.has_value();
        }
        if (!isContainer(name) && !setScalar(closed.value, name, closed.text))
            return false;
        return add(std::move(closed.value));
    }

    template <class T>
    static bool assign(PropertyList& out, std::optional<T> value) {
        if (!value)
            return false;
        out.value = *std::move(value);
        return true;
    }

    static bool setScalar(PropertyList& out, std::string_view name, const std::string& text) {
        if (name == "string")
            return assign(out, stringWithUTF8(text));
        if (name == "integer")
            return assign(out, integerFrom(text));
        if (name == "real")
            return assign(out, realFrom(text));
        if (name == "date")
            return assign(out, dateFrom(text));
        if (name == "data")
            return assign(out, dataFrom(text));
        out.value = name == "true";
        return (name == "true" || name == "false") && trimmed(text).empty();
    }

    bool add(PropertyList value) {
        if (open_.empty() || open_.back().name == "plist") {
            const bool first = !root_;
            root_ = std::move(value);
            rootIsClosed_ = open_.empty();
            return first;
        }
        Open& parent = open_.back();
        if (auto* array = std::get_if<PropertyList::Array>(&parent.value.value)) {
            array->push_back(std::move(value));
        } else {
            std::get<PropertyList::Dictionary>(parent.value.value)
                .push_back({*std::move(parent.key), std::move(value)});
            parent.key.reset();
        }
        return true;
    }

    PropertyListBudget budget_;
    std::vector<Open> open_;
    std::optional<PropertyList> root_;
    bool rootIsClosed_ = false;
};

} // namespace

std::optional<PropertyList> readXMLPropertyList(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    if (text.empty())
        return std::nullopt;
    return XMLReader().read(text);
}

} // namespace platform
