// The SHA extensions of x86 processors: four rounds an instruction. An instruction waits for the one before, so several
// messages side by side take hardly longer than one.
#include "Sha1.h"

#include <cpuid.h>
#include <immintrin.h>
#include <utility>

namespace platform {
namespace {

// Compiled for the instructions in question, whatever the rest of the program is compiled for.
#define USES_SHA __attribute__((target("sha,sse4.1")))
#define USES_SHA_INLINE __attribute__((target("sha,sse4.1"), always_inline)) inline

bool processorHasSHA() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    constexpr unsigned ssse3AndSSE41 = bit_SSSE3 | bit_SSE4_1;
    if (!__get_cpuid(1, &a, &b, &c, &d) || (c & ssse3AndSSE41) != ssse3AndSSE41)
        return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & bit_SHA) != 0;
}

// Words A to D, A in the highest lane, and E in the highest lane of another vector, the rest of which is zero.
struct State {
    __m128i abcd;
    __m128i e;
};

USES_SHA_INLINE State load(const Sha1Words& words) {
    constexpr int reversed = 0x1B;
    return {_mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(words.data())), reversed),
            _mm_set_epi32(static_cast<int>(words[4]), 0, 0, 0)};
}

USES_SHA_INLINE void store(const State& state, Sha1Words& words) {
    constexpr int reversed = 0x1B;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(words.data()), _mm_shuffle_epi32(state.abcd, reversed));
    words[4] = static_cast<std::uint32_t>(_mm_extract_epi32(state.e, 3));
}

// `count` messages side by side.
template <std::size_t count>
struct Messages {
    State state[count];
    __m128i schedule[count][4]; // the coming sixteen words, earlier ones in higher lanes, as a ring
};

// Rounds 4 * group to 4 * group + 3, and the words for the group four groups on.
template <int group, std::size_t count>
USES_SHA_INLINE void fourRounds(Messages<count>& messages) {
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i) {
        State& v = messages.state[i];
        auto& ring = messages.schedule[i];
        __m128i& w = ring[group % 4];
        // From the second group on, E is what A was four rounds ago, rotated.
        const __m128i eAndWords = group == 0 ? _mm_add_epi32(v.e, w) : _mm_sha1nexte_epu32(v.e, w);
        v.e = v.abcd;
        v.abcd = _mm_sha1rnds4_epu32(v.abcd, eAndWords, group / 5);
        if constexpr (group < 16)
            w = _mm_sha1msg2_epu32(_mm_xor_si128(_mm_sha1msg1_epu32(w, ring[(group + 1) % 4]), ring[(group + 2) % 4]),
                                   ring[(group + 3) % 4]);
    }
}

template <std::size_t count, int... groups>
USES_SHA_INLINE void allRounds(Messages<count>& messages, std::integer_sequence<int, groups...>) {
    (fourRounds<groups>(messages), ...);
}

// The block in each schedule, taken into a state equal for all.
template <std::size_t count>
USES_SHA_INLINE void compressFrom(const State& start, Messages<count>& messages) {
    for (State& v : messages.state)
        v = start;
    allRounds(messages, std::make_integer_sequence<int, 20>());
    for (State& v : messages.state)
        v = {_mm_add_epi32(v.abcd, start.abcd), _mm_sha1nexte_epu32(v.e, start.e)};
}

USES_SHA void compress(Sha1Words& words, const std::uint8_t* blocks, std::size_t count) {
    const __m128i bigEndian = _mm_set_epi64x(0x0001020304050607, 0x08090A0B0C0D0E0F);
    State state = load(words);
    for (; count > 0; --count, blocks += sha1BlockSize) {
        Messages<1> message;
        for (int i = 0; i < 4; ++i)
            message.schedule[0][i] =
                _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks) + i), bigEndian);
        compressFrom(state, message);
        state = message.state[0];
    }
    store(state, words);
}

// The digests in the states become blocks: they follow a whole block and are padded to a block of their own.
template <std::size_t count>
USES_SHA_INLINE void scheduleDigests(Messages<count>& messages) {
    constexpr auto bits = static_cast<int>(8 * (sha1BlockSize + sha1DigestSize));
    for (std::size_t i = 0; i < count; ++i) {
        auto& ring = messages.schedule[i];
        ring[0] = messages.state[i].abcd;
        ring[1] = _mm_or_si128(messages.state[i].e, _mm_set_epi32(0, static_cast<int>(0x80000000), 0, 0));
        ring[2] = _mm_setzero_si128();
        ring[3] = _mm_set_epi32(0, 0, 0, bits);
    }
}

template <std::size_t count>
USES_SHA void macOf(const Sha1Words& inner, const Sha1Words& outer, Sha1Words* digests) {
    Messages<count> messages;
    for (std::size_t i = 0; i < count; ++i)
        messages.state[i] = load(digests[i]);
    scheduleDigests(messages);
    compressFrom(load(inner), messages);
    scheduleDigests(messages);
    compressFrom(load(outer), messages);
    for (std::size_t i = 0; i < count; ++i)
        store(messages.state[i], digests[i]);
}

void macOfDigests(const Sha1Words& inner, const Sha1Words& outer, Sha1Words* digests, std::size_t count) {
    static_assert(sha1Lanes == 4);
    switch (count) {
    case 1:
        return macOf<1>(inner, outer, digests);
    case 2:
        return macOf<2>(inner, outer, digests);
    case 3:
        return macOf<3>(inner, outer, digests);
    case 4:
        return macOf<4>(inner, outer, digests);
    default:
        return;
    }
}

} // namespace

const Sha1Functions* acceleratedSha1() {
    static constexpr Sha1Functions functions{compress, macOfDigests};
    static const bool usable = processorHasSHA();
    return usable ? &functions : nullptr;
}

} // namespace platform
