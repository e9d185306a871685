#include "VectorFile.h"

#include <fstream>
#include <stdexcept>

namespace testing_support {
namespace {

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

unsigned digitValue(char digit) {
    const std::size_t value = std::string_view("0123456789abcdef").find(static_cast<char>(std::tolower(digit)));
    if (value == std::string_view::npos)
        throw std::runtime_error(std::string("not a hexadecimal digit: ") + digit);
    return static_cast<unsigned>(value);
}

} // namespace

platform::Data unhex(std::string_view digits) {
    if (digits.size() % 2 != 0)
        throw std::runtime_error("an odd number of hexadecimal digits");
    platform::Data bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(digitValue(digits[i]) << 4 | digitValue(digits[i + 1])));
    return bytes;
}

platform::Data VectorRow::bytes(const std::string& name) const {
    std::string value = text(name);
    std::size_t count = 1;
    if (const std::size_t star = value.rfind('*');
        star != std::string::npos && value.find('"', star) == std::string::npos) {
        count = std::stoul(value.substr(star + 1));
        value = trimmed(value.substr(0, star));
    }
    platform::Data once;
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
        once.assign(value.begin() + 1, value.end() - 1);
    else
        once = unhex(value);
    platform::Data all;
    all.reserve(once.size() * count);
    for (std::size_t i = 0; i < count; ++i)
        all.insert(all.end(), once.begin(), once.end());
    return all;
}

std::ostream& operator<<(std::ostream& out, const VectorRow& row) {
    out << "the row at line " << row.line << ":";
    for (const auto& [name, value] : row.fields)
        out << "\n    " << name << " = " << value.substr(0, 160);
    return out;
}

std::vector<VectorRow> readVectors(const std::string& name) {
    std::ifstream file(TEST_DATA_FOLDER "/" + name);
    if (!file)
        throw std::runtime_error("no vector file " + name);
    std::vector<VectorRow> rows;
    bool open = false;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        line = trimmed(line);
        if (line.starts_with('#'))
            continue;
        if (line.empty()) {
            open = false;
            continue;
        }
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos)
            throw std::runtime_error(name + ":" + std::to_string(number) + ": no \"Name = value\"");
        if (!open)
            rows.push_back({number, {}});
        open = true;
        rows.back().fields[trimmed(line.substr(0, equals))] = trimmed(line.substr(equals + 1));
    }
    if (rows.empty())
        throw std::runtime_error(name + " has no row");
    return rows;
}

} // namespace testing_support
