#include "Sha1.h"

namespace platform {
namespace {

// One word of each of four messages: compilers turn operations on it into the processor's vector instructions.
using Lanes = std::uint32_t __attribute__((vector_size(4 * sha1Lanes)));

template <class Word>
Word rotatedLeft(Word word, int bits) {
    return (word << bits) | (word >> (32 - bits));
}

// The sixteen words of a block; on from there the last sixteen words of the message schedule, as a ring.
template <class Word>
struct Schedule {
    std::array<Word, 16> w;

    Word next(std::size_t t) {
        Word& word = w[t % 16];
        if (t >= w.size())
            word = rotatedLeft(w[(t - 3) % 16] ^ w[(t - 8) % 16] ^ w[(t - 14) % 16] ^ word, 1);
        return word;
    }
};

template <class Word>
struct Working {
    Word a, b, c, d, e;

    void step(Word f, std::uint32_t k, Word w) {
        const Word next = rotatedLeft(a, 5) + f + e + k + w;
        e = d;
        d = c;
        c = rotatedLeft(b, 30);
        b = a;
        a = next;
    }
    [[nodiscard]] Word choice() const { return d ^ (b & (c ^ d)); }
    [[nodiscard]] Word parity() const { return b ^ c ^ d; }
    [[nodiscard]] Word majority() const { return (b & c) | (d & (b | c)); }
};

template <class Word>
void compressWords(std::array<Word, 5>& state, Schedule<Word> schedule) {
    Working<Word> v{state[0], state[1], state[2], state[3], state[4]};
    for (std::size_t t = 0; t < 20; ++t)
        v.step(v.choice(), 0x5A827999, schedule.next(t));
    for (std::size_t t = 20; t < 40; ++t)
        v.step(v.parity(), 0x6ED9EBA1, schedule.next(t));
    for (std::size_t t = 40; t < 60; ++t)
        v.step(v.majority(), 0x8F1BBCDC, schedule.next(t));
    for (std::size_t t = 60; t < 80; ++t)
        v.step(v.parity(), 0xCA62C1D6, schedule.next(t));
    state[0] += v.a;
    state[1] += v.b;
    state[2] += v.c;
    state[3] += v.d;
    state[4] += v.e;
}

std::uint32_t bigEndianWord(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

void compress(Sha1Words& state, const std::uint8_t* blocks, std::size_t count) {
    for (; count > 0; --count, blocks += sha1BlockSize) {
        Schedule<std::uint32_t> schedule{};
        for (std::size_t i = 0; i < schedule.w.size(); ++i)
            schedule.w[i] = bigEndianWord(blocks + 4 * i);
        compressWords(state, schedule);
    }
}

using LaneWords = std::array<Lanes, 5>;

LaneWords inEveryLane(const Sha1Words& words) {
    LaneWords lanes;
    for (std::size_t i = 0; i < words.size(); ++i)
        lanes[i] = words[i] + Lanes{};
    return lanes;
}

// A digest that follows a whole block, padded to a block of its own.
Schedule<Lanes> paddedDigests(const LaneWords& digests) {
    Schedule<Lanes> schedule{};
    for (std::size_t i = 0; i < digests.size(); ++i)
        schedule.w[i] = digests[i];
    schedule.w[5] += 0x80000000;
    schedule.w[15] += 8 * (sha1BlockSize + sha1DigestSize);
    return schedule;
}

void macOfDigests(const Sha1Words& inner, const Sha1Words& outer, Sha1Words* digests, std::size_t count) {
    LaneWords message{};
    for (std::size_t lane = 0; lane < count; ++lane)
        for (std::size_t i = 0; i < message.size(); ++i)
            message[i][lane] = digests[lane][i];
    LaneWords state = inEveryLane(inner);
    compressWords(state, paddedDigests(message));
    message = state;
    state = inEveryLane(outer);
    compressWords(state, paddedDigests(message));
    for (std::size_t lane = 0; lane < count; ++lane)
        for (std::size_t i = 0; i < state.size(); ++i)
            digests[lane][i] = state[i][lane];
}

} // namespace

const Sha1Functions& portableSha1() {
    static constexpr Sha1Functions functions{compress, macOfDigests};
    return functions;
}

const Sha1Functions& sha1() {
    static const Sha1Functions& best = acceleratedSha1() ? *acceleratedSha1() : portableSha1();
    return best;
}

void writeSha1Digest(const Sha1Words& words, std::uint8_t* digest) {
    for (const std::uint32_t word : words)
        for (int shift = 24; shift >= 0; shift -= 8)
            *digest++ = static_cast<std::uint8_t>(word >> shift);
}

Sha1Words readSha1Digest(const std::uint8_t* digest) {
    Sha1Words words;
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = bigEndianWord(digest + 4 * i);
    return words;
}

} // namespace platform
