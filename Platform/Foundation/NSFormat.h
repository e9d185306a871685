// printf-style formats extended by "%@", which inserts an object's description; an absent object prints "(null)".
//
// A format that is a literal is checked against its arguments when it is compiled. A format that is data (a
// translation, a caller's own) goes through stringWithRuntimeFormat, where a conversion that does not fit its argument
// is copied to the output as it stands.
#pragma once

#include "NSString.h"

#include <concepts>
#include <memory>
#include <type_traits>

namespace platform {

template <class T>
concept Describable = requires(const T& object) {
    { object.description() } -> std::convertible_to<String>;
};

// One argument of a format. It may refer to the caller's memory and lives no longer than the call.
class FormatArgument {
public:
    enum class Kind : std::uint8_t { Object, CString, Signed, Unsigned, Double };

    FormatArgument(StringView text) : kind_(Kind::Object), object_(text) {}
    FormatArgument(const String& text) : FormatArgument(StringView(text)) {}
    FormatArgument(const char16_t* text) : FormatArgument(StringView(text)) {}
    FormatArgument(std::nullopt_t) : kind_(Kind::Object), absent_(true) {}
    FormatArgument(const std::shared_ptr<const String>& text) : kind_(Kind::Object), absent_(!text) {
        if (text)
            object_ = *text;
    }
    template <class T>
    FormatArgument(const std::optional<T>& object) : FormatArgument(std::nullopt) {
        if (object)
            *this = FormatArgument(*object);
    }
    template <Describable T>
    FormatArgument(const T& object) : kind_(Kind::Object), description_(object.description()), described_(true) {}
    // UTF-8, else Latin 1, ended by a zero byte; null prints "(null)".
    FormatArgument(const char* text) : kind_(Kind::CString), absent_(text == nullptr), cString_(text) {}
    template <std::integral T>
    FormatArgument(T value)
        : kind_(std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned), integer_(static_cast<std::uint64_t>(value)) {}
    FormatArgument(double value) : kind_(Kind::Double), double_(value) {}

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] bool isInteger() const { return kind_ == Kind::Signed || kind_ == Kind::Unsigned; }
    [[nodiscard]] StringView objectText() const;
    [[nodiscard]] const char* cString() const { return absent_ ? "(null)" : cString_; }
    [[nodiscard]] std::uint64_t integer() const { return integer_; }
    [[nodiscard]] double real() const { return double_; }

private:
    Kind kind_;
    bool absent_ = false;
    StringView object_;
    String description_;
    bool described_ = false;
    const char* cString_ = nullptr;
    std::uint64_t integer_ = 0;
    double double_ = 0;
};

// One conversion of a format: "%" flags width precision length conversion.
struct FormatConversion {
    std::size_t begin = 0;  // of "%"
    std::size_t end = 0;    // behind the conversion character
    int longs = 0;          // "l" or "z" 1, "ll" or "q" 2, "h" -1, "hh" -2
    char conversion = '\0'; // '\0' when the text ends too early
};

// The next conversion at or behind `position`; begin == text.size() when there is none.
template <class Character>
[[nodiscard]] constexpr FormatConversion nextConversion(std::basic_string_view<Character> text, std::size_t position) {
    const auto isOneOf = [](Character c, std::string_view set) {
        for (const char candidate : set)
            if (c == static_cast<Character>(candidate))
                return true;
        return false;
    };
    FormatConversion found;
    while (position < text.size() && text[position] != Character('%'))
        ++position;
    found.begin = position;
    std::size_t i = position + 1;
    while (i < text.size() && isOneOf(text[i], "-+ #0123456789.'"))
        ++i;
    for (; i < text.size() && isOneOf(text[i], "lhqz"); ++i)
        found.longs += text[i] == Character('h') ? -1 : text[i] == Character('q') ? 2 : 1;
    if (i < text.size()) {
        const auto code = static_cast<std::make_unsigned_t<Character>>(text[i]);
        found.conversion = code < 0x80 ? static_cast<char>(code) : '?';
        ++i;
    }
    found.end = i < text.size() ? i : text.size();
    return found;
}

template <class T>
consteval FormatArgument::Kind formatKind() {
    using Kind = FormatArgument::Kind;
    if constexpr (std::is_integral_v<T>)
        return std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned;
    else if constexpr (std::is_floating_point_v<T>)
        return Kind::Double;
    else if constexpr (std::is_same_v<std::decay_t<T>, const char*> || std::is_same_v<std::decay_t<T>, char*>)
        return Kind::CString;
    else
        return Kind::Object;
}

// Whether a conversion prints an argument of this kind and size (bytes) without loss or misreading.
[[nodiscard]] constexpr bool conversionFits(char conversion, int longs, FormatArgument::Kind kind, std::size_t size) {
    switch (conversion) {
    case '@':
        return kind == FormatArgument::Kind::Object;
    case 's':
        return kind == FormatArgument::Kind::CString;
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
    case 'c':
    case 'C':
        return (kind == FormatArgument::Kind::Signed || kind == FormatArgument::Kind::Unsigned) &&
               size <= (longs > 0 ? 8u : 4u);
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
        return kind == FormatArgument::Kind::Double;
    default:
        return false;
    }
}

// A literal format whose conversions fit Arguments; anything else does not compile.
template <class... Arguments>
class CheckedFormat {
public:
    consteval CheckedFormat(const char* text) : text_(text) {
        constexpr std::size_t count = sizeof...(Arguments);
        const FormatArgument::Kind kinds[count + 1] = {formatKind<Arguments>()...};
        const std::size_t sizes[count + 1] = {sizeof(Arguments)...};
        std::size_t next = 0;
        for (std::size_t at = 0; at < text_.size();) {
            const FormatConversion found = nextConversion(text_, at);
            if (found.begin >= text_.size())
                break;
            at = found.end;
            if (found.conversion == '%')
                continue;
            if (next >= count || !conversionFits(found.conversion, found.longs, kinds[next], sizes[next]))
                throw "a conversion of the format does not fit its argument";
            ++next;
        }
        if (next != count)
            throw "the format has fewer conversions than arguments";
    }
    [[nodiscard]] constexpr std::string_view text() const { return text_; }

private:
    std::string_view text_;
};

[[nodiscard]] String stringWithRuntimeFormat(StringView format, std::span<const FormatArgument> arguments);
[[nodiscard]] String stringWithRuntimeFormat(std::string_view format, std::span<const FormatArgument> arguments);

template <class... Arguments>
[[nodiscard]] String stringWithFormat(CheckedFormat<std::type_identity_t<Arguments>...> format,
                                      const Arguments&... arguments) {
    const FormatArgument list[sizeof...(Arguments) + 1] = {FormatArgument(arguments)..., FormatArgument(std::nullopt)};
    return stringWithRuntimeFormat(format.text(), std::span(list, sizeof...(Arguments)));
}

} // namespace platform
