// Rows of an operation that makes one text of another.
#pragma once

#include "Tests/Support/RandomText.h"

#include <gtest/gtest.h>
#include <span>

namespace brimle {

struct TextRow {
    platform::StringView text;
    platform::StringView expected;
};

// Every operation gives what each row expects.
template <class... Operations>
void expectRows(std::span<const TextRow> rows, Operations... operations) {
    for (const TextRow& row : rows)
        (..., [&] { EXPECT_EQ(operations(row.text), row.expected) << testing_support::shown(row.text); }());
}

} // namespace brimle
