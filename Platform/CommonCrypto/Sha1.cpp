#include "Sha1.h"

#include <bit>

namespace platform {
namespace {

std::uint32_t bigEndianWord(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
}

using Schedule = std::array<std::uint32_t, 16>;

// W(t), of which only the last sixteen are kept.
std::uint32_t scheduled(Schedule& w, std::size_t t) {
    if (t >= w.size())
        w[t % 16] = std::rotl(w[(t - 3) % 16] ^ w[(t - 8) % 16] ^ w[(t - 14) % 16] ^ w[t % 16], 1);
    return w[t % 16];
}

struct Working {
    std::uint32_t a, b, c, d, e;

    void step(std::uint32_t f, std::uint32_t k, std::uint32_t w) {
        const std::uint32_t next = std::rotl(a, 5) + f + e + k + w;
        e = d;
        d = c;
        c = std::rotl(b, 30);
        b = a;
        a = next;
    }
    [[nodiscard]] std::uint32_t choice() const { return d ^ (b & (c ^ d)); }
    [[nodiscard]] std::uint32_t parity() const { return b ^ c ^ d; }
    [[nodiscard]] std::uint32_t majority() const { return (b & c) | (d & (b | c)); }
};

void compressBlock(Sha1State& state, const std::uint8_t* block) {
    Schedule w;
    for (std::size_t i = 0; i < w.size(); ++i)
        w[i] = bigEndianWord(block + 4 * i);
    auto& h = state.words;
    Working v{h[0], h[1], h[2], h[3], h[4]};
    for (std::size_t t = 0; t < 20; ++t)
        v.step(v.choice(), 0x5A827999, scheduled(w, t));
    for (std::size_t t = 20; t < 40; ++t)
        v.step(v.parity(), 0x6ED9EBA1, scheduled(w, t));
    for (std::size_t t = 40; t < 60; ++t)
        v.step(v.majority(), 0x8F1BBCDC, scheduled(w, t));
    for (std::size_t t = 60; t < 80; ++t)
        v.step(v.parity(), 0xCA62C1D6, scheduled(w, t));
    h[0] += v.a;
    h[1] += v.b;
    h[2] += v.c;
    h[3] += v.d;
    h[4] += v.e;
}

} // namespace

void sha1CompressPortably(Sha1State& state, const std::uint8_t* blocks, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        compressBlock(state, blocks + i * sha1BlockSize);
}

Sha1Compression sha1Compression() {
    static const Sha1Compression best = [] {
        const Sha1Compression accelerated = acceleratedSha1Compression();
        return accelerated ? accelerated : sha1CompressPortably;
    }();
    return best;
}

void writeSha1Digest(const Sha1State& state, std::uint8_t* digest) {
    for (const std::uint32_t word : state.words)
        for (int shift = 24; shift >= 0; shift -= 8)
            *digest++ = static_cast<std::uint8_t>(word >> shift);
}

} // namespace platform
