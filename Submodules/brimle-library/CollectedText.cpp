#include "brimle/CollectedText.h"

#include <algorithm>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace brimle {
namespace {

constexpr std::size_t blockBytes = TextBlocks::blockLength * sizeof(char16_t);
constexpr std::size_t pieceLength = std::size_t{64} * 1024;
constexpr std::size_t longestCharacter = 4; // bytes of UTF-8

// How many bytes at the end are the beginning of a character that more bytes would complete. Whether what has come of
// it is well-formed shows when the rest has.
std::size_t unfinishedLength(std::string_view bytes) {
    for (std::size_t back = 1; back < longestCharacter && back <= bytes.size(); ++back) {
        const auto byte = static_cast<std::uint8_t>(bytes[bytes.size() - back]);
        if ((byte & 0xC0) == 0x80)
            continue;
        const std::size_t announced = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return announced > back ? back : 0;
    }
    return 0;
}

} // namespace

void TextBlocks::Unmap::operator()(char16_t* pages) const {
    munmap(pages, blockBytes);
}

void TextBlocks::append(StringView piece) {
    if (blocks_.empty() || blockLength - blocks_.back().length < piece.size()) {
        // Pages of their own: what goes through the allocator's heap may stay with the process when it is freed.
        void* const pages = mmap(nullptr, blockBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED)
            throw std::bad_alloc();
        std::unique_ptr<char16_t[], Unmap> units(static_cast<char16_t*>(pages));
        blocks_.push_back({std::move(units), 0});
    }
    Block& last = blocks_.back();
    std::copy(piece.begin(), piece.end(), last.units.get() + last.length);
    last.length += piece.size();
    length_ += piece.size();
}

template <class Take>
void TextBlocks::consume(Take take) {
    std::vector<Block> blocks = std::exchange(blocks_, {});
    length_ = 0;
    for (Block& block : blocks) {
        take(StringView(block.units.get(), block.length));
        block.units.reset();
    }
}

String TextBlocks::asString() {
    String text;
    text.reserve(length_);
    consume([&text](StringView block) { text.append(block); });
    return text;
}

void CollectedText::append(DataView bytes) {
    empty_ = empty_ && bytes.empty();
    try {
        for (; complete_ && !bytes.empty(); bytes = bytes.subspan(std::min(pieceLength, bytes.size())))
            decode(bytes.first(std::min(pieceLength, bytes.size())));
    } catch (const std::bad_alloc&) {
        giveUp();
    }
}

void CollectedText::decode(DataView bytes) {
    pending_.append(platform::bytesAsCharacters(bytes));
    if (isUTF8_) {
        const std::size_t whole = pending_.size() - unfinishedLength(pending_);
        if (const auto piece = platform::stringWithUTF8(std::string_view(pending_).substr(0, whole))) {
            blocks_.append(*piece);
            pending_.erase(0, whole);
            return;
        }
        decodeAgainAsLatin1();
    }
    appendAsLatin1(std::exchange(pending_, {}));
}

void CollectedText::appendAsLatin1(std::string_view bytes) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(pieceLength, bytes.size())))
        blocks_.append(platform::stringWithISOLatin1(bytes.substr(0, pieceLength)));
}

// What has been decoded so far was UTF-8, so its bytes are those of its text.
void CollectedText::decodeAgainAsLatin1() {
    isUTF8_ = false;
    std::exchange(blocks_, {}).consume([this](StringView block) { appendAsLatin1(platform::lossyUTF8String(block)); });
}

std::optional<String> CollectedText::text() {
    try {
        if (!pending_.empty()) { // a character that was cut off
            decodeAgainAsLatin1();
            appendAsLatin1(std::exchange(pending_, {}));
        }
        return complete_ ? std::optional(blocks_.asString()) : std::nullopt;
    } catch (const std::bad_alloc&) {
        giveUp();
        return std::nullopt;
    }
}

void CollectedText::giveUp() {
    complete_ = false;
    blocks_ = {};
    pending_ = {};
}

} // namespace brimle
