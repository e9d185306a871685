// The compression function of SHA-1 (FIPS 180-4, section 6.1.2) and its chaining state.
//
// The crypto library offers whole digests only. A derivation of keys from passwords runs hundreds of thousands of
// HMACs under one key, and starting each from states that have absorbed the key already takes half the compressions
// and none of the library's work around them. Private to this folder. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace platform {

inline constexpr std::size_t sha1BlockSize = 64;

struct Sha1State {
    std::array<std::uint32_t, 5> words{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
};

// Takes `count` whole blocks into the state.
using Sha1Compression = void (*)(Sha1State& state, const std::uint8_t* blocks, std::size_t count);

void sha1CompressPortably(Sha1State& state, const std::uint8_t* blocks, std::size_t count);

// With the processor's own SHA instructions; null where it has none. One source file a processor family.
[[nodiscard]] Sha1Compression acceleratedSha1Compression();

// The best of these on this machine.
[[nodiscard]] Sha1Compression sha1Compression();

// The state as the digest's 20 bytes.
void writeSha1Digest(const Sha1State& state, std::uint8_t* digest);

} // namespace platform
