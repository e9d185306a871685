#include "Tools/tessaro-record/TerminalText.h"

#include <gtest/gtest.h>

namespace tessaro_record {
namespace {

using platform::charactersAsBytes;
using namespace std::string_literals;

struct TextCase {
    std::string text;
    std::string shown;
    std::optional<std::string> json;
};

TEST(TerminalText, ShowsForeignTextSafely) {
    const TextCase rows[] = {
        {"", "", R"("")"},
        {"5A0F1E2D-0000", "5A0F1E2D-0000", R"("5A0F1E2D-0000")"},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
         "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\""},
        {"a\"b\\c", "a\"b\\\\c", R"("a\"b\\c")"},
        {"\x1B[31mred\x07", "\\u{1b}[31mred\\u{7}", R"("\u001b[31mred\u0007")"},
        {"one\ntwo\r\tthree", "one\\u{a}two\\u{d}\\u{9}three", R"("one\u000atwo\u000d\u0009three")"},
        {"a\0b"s, "a\\u{0}b", R"("a\u0000b")"},
        {"\x7F\xC2\x9B", "\\u{7f}\\u{9b}", R"("\u007f\u009b")"},
        {"\xE2\x80\xAE"
         "gnp.exe",
         "\\u{202e}gnp.exe", R"("\u202egnp.exe")"},
        {"\xE2\x81\xA6\xEF\xBB\xBF\xE2\x80\xA8", "\\u{2066}\\u{feff}\\u{2028}", R"("\u2066\ufeff\u2028")"},
        {"\xF3\xA0\x81\x81", "\\u{e0041}", R"("\udb40\udc41")"},
        {"\xFF", "\\xFF", std::nullopt},
        {"ok\xC3", "ok\\xC3", std::nullopt},
        {"\xE2\x82z", "\\xE2\\x82z", std::nullopt},
        {"\xED\xA0\x80", "\\xED\\xA0\\x80", std::nullopt},
        {"\xC0\xAF", "\\xC0\\xAF", std::nullopt},
        {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80", std::nullopt},
    };
    for (const TextCase& row : rows) {
        EXPECT_EQ(terminalText(charactersAsBytes(row.text)), row.shown);
        EXPECT_EQ(JSONString(charactersAsBytes(row.text)), row.json) << row.shown;
    }
}

struct CutCase {
    std::string text;
    std::size_t limit;
    std::string shown;
};

TEST(TerminalText, CutsAfterCharactersNotBytes) {
    const CutCase rows[] = {
        {"abc", 3, "abc"}, {"abcd", 3, "abc..."}, {"\xC3\xA9\xC3\xA9", 1, "\xC3\xA9..."}, {"a", 0, "..."}, {"", 0, ""},
    };
    for (const CutCase& row : rows)
        EXPECT_EQ(terminalText(charactersAsBytes(row.text), row.limit), row.shown) << row.text << " " << row.limit;
}

} // namespace
} // namespace tessaro_record
