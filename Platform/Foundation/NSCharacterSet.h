// Sets of Unicode code points. Values that share their contents; may be copied and read on any thread.
#pragma once

#include "NSString.h"

#include <memory>

namespace platform {

class NSCharacterSet {
public:
    // Unicode white space and line breaks: tab to carriage return, space, U+0085, U+00A0, U+1680, U+2000 to U+200A,
    // U+2028, U+2029, U+202F, U+205F, U+3000. The same object's contents at every call.
    [[nodiscard]] static const NSCharacterSet& whitespaceAndNewlineCharacterSet();
    // A surrogate pair is one character, a lone surrogate one as well.
    [[nodiscard]] static NSCharacterSet characterSetWithCharactersInString(StringView characters);
    // From first to last, both included.
    [[nodiscard]] static NSCharacterSet characterSetWithRange(char32_t first, char32_t last);

    [[nodiscard]] NSCharacterSet invertedSet() const;
    [[nodiscard]] bool longCharacterIsMember(char32_t character) const;

    // Behind the first character of the text at `position`; that character is written to *character.
    [[nodiscard]] static std::size_t nextCharacter(StringView text, std::size_t position, char32_t* character);

private:
    struct Range {
        char32_t first;
        char32_t last;
    };
    struct Contents;

    explicit NSCharacterSet(std::vector<Range> ranges);

    std::shared_ptr<const Contents> contents_;
};

// Whether any character of the text is in the set.
[[nodiscard]] bool containsCharacterFromSet(StringView text, const NSCharacterSet& set);

// The text without leading and trailing characters of the set.
[[nodiscard]] StringView trimmed(StringView text, const NSCharacterSet& set);

} // namespace platform
