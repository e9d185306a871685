// Texts made of random pieces of a vocabulary, the same ones at every run.
#pragma once

#include "Foundation/NSString.h"

#include <initializer_list>
#include <random>

namespace testing_support {

class RandomText {
public:
    explicit RandomText(std::initializer_list<platform::StringView> vocabulary) : vocabulary_(vocabulary) {}

    [[nodiscard]] platform::String next(std::size_t mostPieces) {
        platform::String text;
        for (std::size_t i = below(mostPieces + 1); i > 0; --i)
            text += vocabulary_[below(vocabulary_.size())];
        return text;
    }
    [[nodiscard]] std::size_t below(std::size_t limit) { return engine_() % limit; }

private:
    std::vector<platform::StringView> vocabulary_;
    std::mt19937 engine_{20261121}; // NOLINT(cert-msc51-cpp): the same texts at every run
};

// A text for a failure message: ASCII as it is, the rest as \uXXXX.
[[nodiscard]] inline std::string shown(platform::StringView text) {
    std::string out;
    for (const char16_t unit : text) {
        if (unit >= 0x20 && unit < 0x7F && unit != '\\') {
            out.push_back(static_cast<char>(unit));
            continue;
        }
        constexpr std::string_view digits = "0123456789ABCDEF";
        out += "\\u";
        for (int shift = 12; shift >= 0; shift -= 4)
            out.push_back(digits[static_cast<std::size_t>(unit >> shift & 0xF)]);
    }
    return out;
}

} // namespace testing_support
