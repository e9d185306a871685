// Text collected from bytes that arrive in pieces: what br_utf8stringWithData makes of all of them together, without
// the bytes ever being together. Beside the text itself it takes a few megabytes, however long the text is.
//
// Any thread, one thread at a time for one object. Nothing throws.
#pragma once

#include "Foundation/NSString.h"

#include <memory>

namespace brimle {

using platform::DataView;
using platform::String;
using platform::StringView;

// Text kept in blocks of pages that go back to the system one by one: to make one string of them takes no more memory
// than the string.
class TextBlocks {
public:
    // Pieces stay whole. Throws std::bad_alloc. REQUIRES: at most `blockLength` units.
    void append(StringView piece);
    // Hands out the blocks in their order, each gone before the next one comes; empty afterwards.
    template <class Take>
    void consume(Take take);
    // All of it as one string, empty afterwards. Throws std::bad_alloc.
    [[nodiscard]] String asString();

    static constexpr std::size_t blockLength = std::size_t{1} << 20;

private:
    struct Unmap {
        void operator()(char16_t* pages) const;
    };
    struct Block {
        std::unique_ptr<char16_t[], Unmap> units;
        std::size_t length;
    };
    std::vector<Block> blocks_;
    std::size_t length_ = 0;
};

class CollectedText {
public:
    void append(DataView bytes);

    // Whether nothing has come.
    [[nodiscard]] bool empty() const { return empty_; }
    // UTF-8 where all of the bytes are, else all of them as Latin 1. Absent when memory did not suffice. Once.
    [[nodiscard]] std::optional<String> text();

private:
    void decode(DataView bytes);
    void decodeAgainAsLatin1();
    void appendAsLatin1(std::string_view bytes);
    void giveUp();

    TextBlocks blocks_;
    std::string pending_; // the beginning of a character whose end has not come
    bool isUTF8_ = true;
    bool empty_ = true;
    bool complete_ = true; // false: memory ran out, and what comes is dropped
};

} // namespace brimle
