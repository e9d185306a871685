// Test vectors as data: blocks of "Name = value" lines parted by blank lines; "#" begins a comment line.
#pragma once

#include "Foundation/NSString.h"

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace testing_support {

struct VectorRow {
    int line = 0; // of its first field
    std::map<std::string, std::string> fields;

    [[nodiscard]] bool has(const std::string& name) const { return fields.contains(name); }
    // Throws std::out_of_range for a field that the row does not have.
    [[nodiscard]] const std::string& text(const std::string& name) const { return fields.at(name); }
    [[nodiscard]] int number(const std::string& name) const { return std::stoi(text(name)); }
    // The bytes: pairs of hexadecimal digits, or characters between double quotes; either may be followed by "* count",
    // which repeats it.
    [[nodiscard]] platform::Data bytes(const std::string& name) const;
};

// Tells which row failed.
std::ostream& operator<<(std::ostream& out, const VectorRow& row);

// Reads Tests/Data/<name>; throws std::runtime_error when the file is missing, malformed or has no row.
[[nodiscard]] std::vector<VectorRow> readVectors(const std::string& name);

// Pairs of hexadecimal digits as bytes; throws std::runtime_error on anything else.
[[nodiscard]] platform::Data unhex(std::string_view digits);

} // namespace testing_support
