// The compression function of SHA-1 (FIPS 180-4, section 6.1.2), by itself.
//
// The crypto library offers whole digests only. Deriving a key from a password takes hundreds of thousands of HMACs
// under one key: starting each from states that have absorbed the key already halves the work, and several blocks of
// output, whose chains do not depend on each other, go through the processor side by side. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace platform {

inline constexpr std::size_t sha1BlockSize = 64;
inline constexpr std::size_t sha1DigestSize = 20;
inline constexpr std::size_t sha1Lanes = 4;

// The five words H of the algorithm: the state between blocks, and in the end the digest.
using Sha1Words = std::array<std::uint32_t, 5>;
inline constexpr Sha1Words sha1Start{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};

struct Sha1Functions {
    // Takes `count` whole blocks into the state.
    void (*compress)(Sha1Words& state, const std::uint8_t* blocks, std::size_t count);
    // Replaces each of `count` digests, at most sha1Lanes, by its HMAC under the key that `inner` and `outer` have
    // absorbed. They may be secret: nothing here depends on their content but the result.
    void (*macOfDigests)(const Sha1Words& inner, const Sha1Words& outer, Sha1Words* digests, std::size_t count);
};

// On any processor.
[[nodiscard]] const Sha1Functions& portableSha1();
// With the processor's own SHA instructions, null where it has none. One source file a family of processors.
[[nodiscard]] const Sha1Functions* acceleratedSha1();
// The best of these on this machine.
[[nodiscard]] const Sha1Functions& sha1();

// A digest's bytes, most significant of each word first, and back.
void writeSha1Digest(const Sha1Words& words, std::uint8_t* digest);
[[nodiscard]] Sha1Words readSha1Digest(const std::uint8_t* digest);

} // namespace platform
