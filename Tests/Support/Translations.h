// Translations of a test's own: a gettext catalogue of the domain "app" in a locale that every machine has, chosen
// until the end of the scope.
#pragma once

#include "TemporaryFolder.h"

#include <clocale>
#include <cstdint>
#include <map>

namespace testing_support {

class Translations {
public:
    explicit Translations(const std::map<std::string, std::string>& texts) {
        write(folder_ / "xx/LC_MESSAGES/app.mo", catalogue(texts));
        // The C library's own locales are all that every machine has; LANGUAGE chooses among catalogues.
        if (!std::setlocale(LC_ALL, "C.UTF-8"))
            throw std::runtime_error("no C.UTF-8");
    }
    ~Translations() { std::setlocale(LC_ALL, "C"); }
    Translations(const Translations&) = delete;
    Translations& operator=(const Translations&) = delete;

    // Where the domain's catalogues are.
    [[nodiscard]] std::string folder() const { return folder_.path().string(); }

private:
    // As gettext's manual describes the format: a header, two tables of (length, offset), the texts.
    static std::string catalogue(const std::map<std::string, std::string>& texts) {
        std::string tables;
        std::string data;
        const auto number = [](std::size_t value) {
            const auto word = static_cast<std::uint32_t>(value);
            return std::string(reinterpret_cast<const char*>(&word), sizeof word);
        };
        const std::size_t dataAt = 28 + 16 * texts.size();
        const auto add = [&](const std::string& text) {
            tables += number(text.size()) + number(dataAt + data.size());
            data += text + '\0';
        };
        for (const auto& [key, translation] : texts)
            add(key);
        for (const auto& [key, translation] : texts)
            add(translation);
        return number(0x950412de) + number(0) + number(texts.size()) + number(28) + number(28 + 8 * texts.size()) +
               number(0) + number(dataAt) + tables + data;
    }

    TemporaryFolder folder_;
    EnvironmentVariable language_{"LANGUAGE", "xx"};
};

} // namespace testing_support
