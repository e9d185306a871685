#include "NSFormat.h"

#include <array>
#include <cstdio>
#include <locale.h> // uselocale: POSIX

namespace platform {
namespace {

// Numbers look the same whatever locale the process has chosen: a decimal point, no grouping.
class PlainNumbers {
public:
    PlainNumbers() : before_(uselocale(plain())) {}
    ~PlainNumbers() { uselocale(before_); }
    PlainNumbers(const PlainNumbers&) = delete;
    PlainNumbers& operator=(const PlainNumbers&) = delete;

private:
    static locale_t plain() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }
    locale_t before_;
};

template <class... Values>
std::string printf(const std::string& conversion, Values... values) {
    const PlainNumbers plainNumbers;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    const int length = std::snprintf(nullptr, 0, conversion.c_str(), values...);
    if (length < 0)
        return {};
    std::string out(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(out.data(), out.size(), conversion.c_str(), values...);
#pragma GCC diagnostic pop
    out.pop_back();
    return out;
}

// The integer as the conversion's length modifier reads it.
template <class Integer>
Integer narrowed(std::uint64_t value, int longs) {
    if (longs > 0)
        return static_cast<Integer>(value);
    if constexpr (std::is_signed_v<Integer>) {
        if (longs == 0)
            return static_cast<std::int32_t>(value);
        return longs == -1 ? static_cast<Integer>(static_cast<std::int16_t>(value))
                           : static_cast<Integer>(static_cast<std::int8_t>(value));
    } else {
        if (longs == 0)
            return static_cast<std::uint32_t>(value);
        return longs == -1 ? static_cast<Integer>(static_cast<std::uint16_t>(value))
                           : static_cast<Integer>(static_cast<std::uint8_t>(value));
    }
}

// "flags width precision" of a conversion, without "%", length and conversion character.
std::string modifiers(const std::string& conversion) {
    const std::size_t end = conversion.find_first_of("lhqz@sdiuxXocCfFeEgG", 1);
    return conversion.substr(1, end - 1);
}

String formatted(const FormatConversion& found, const std::string& text, const FormatArgument& argument) {
    const std::string prefix = "%" + modifiers(text);
    switch (found.conversion) {
    case '@':
        return String(argument.objectText()); // the platform ignores a width here
    case 's':
        return stringWithUTF8OrLatin1(printf(prefix + "s", argument.cString()));
    case 'd':
    case 'i':
        return stringWithUTF8OrLatin1(
            printf(prefix + "lld", static_cast<long long>(narrowed<std::int64_t>(argument.integer(), found.longs))));
    case 'c':
    case 'C':
        return String(1, static_cast<char16_t>(argument.integer()));
    case 'u':
    case 'x':
    case 'X':
    case 'o':
        return stringWithUTF8OrLatin1(
            printf(prefix + "ll" + found.conversion,
                   static_cast<unsigned long long>(narrowed<std::uint64_t>(argument.integer(), found.longs))));
    default:
        return stringWithUTF8OrLatin1(printf(prefix + found.conversion, argument.real()));
    }
}

template <class Character>
String format(std::basic_string_view<Character> text, std::span<const FormatArgument> arguments) {
    String out;
    std::size_t next = 0;
    std::size_t copied = 0;
    while (copied < text.size()) {
        const FormatConversion found = nextConversion(text, copied);
        out.append(text.begin() + static_cast<std::ptrdiff_t>(copied),
                   text.begin() + static_cast<std::ptrdiff_t>(found.begin));
        if (found.begin >= text.size())
            break;
        const auto conversion = text.substr(found.begin, found.end - found.begin);
        // Only the conversion itself may hold a character beyond ASCII, and then it fits nothing.
        const std::string ascii(conversion.begin(), conversion.end());
        if (found.conversion == '%') {
            out.push_back(u'%');
        } else if (next < arguments.size() &&
                   conversionFits(found.conversion, 1, arguments[next].kind(), sizeof(std::uint64_t))) {
            out += formatted(found, ascii, arguments[next++]);
        } else {
            out.append(conversion.begin(), conversion.end());
        }
        copied = found.end;
    }
    return out;
}

} // namespace

StringView FormatArgument::objectText() const {
    if (absent_)
        return u"(null)";
    return described_ ? StringView(description_) : object_;
}

String stringWithRuntimeFormat(StringView text, std::span<const FormatArgument> arguments) {
    return format(text, arguments);
}

String stringWithRuntimeFormat(std::string_view text, std::span<const FormatArgument> arguments) {
    return format(text, arguments);
}

} // namespace platform
