// The SHA extensions of x86 processors: four rounds an instruction.
#include "Sha1.h"

#include <cpuid.h>
#include <immintrin.h>

namespace platform {
namespace {

#define WITH_SHA_INSTRUCTIONS __attribute__((target("sha,sse4.1")))

bool processorHasShaInstructions() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    constexpr unsigned ssse3AndSse41 = bit_SSSE3 | bit_SSE4_1;
    if (!__get_cpuid(1, &a, &b, &c, &d) || (c & ssse3AndSse41) != ssse3AndSse41)
        return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & bit_SHA) != 0;
}

// Word 0 of the algorithm stands in the highest lane.
struct Working {
    __m128i abcd;
    __m128i e;        // before the coming four rounds: in the highest lane what becomes E
    __m128i words[4]; // the coming sixteen words of the message schedule, as a ring
};

// Rounds 4 * group to 4 * group + 3; makes the words of four groups on, as long as they are needed.
template <int group>
WITH_SHA_INSTRUCTIONS inline void fourRounds(Working& v) {
    __m128i& w = v.words[group % 4];
    const __m128i eAndWords = group == 0 ? _mm_add_epi32(v.e, w) : _mm_sha1nexte_epu32(v.e, w);
    v.e = v.abcd;
    v.abcd = _mm_sha1rnds4_epu32(v.abcd, eAndWords, group / 5);
    if constexpr (group < 16) {
        const __m128i& next = v.words[(group + 1) % 4];
        const __m128i& third = v.words[(group + 2) % 4];
        const __m128i& fourth = v.words[(group + 3) % 4];
        w = _mm_sha1msg2_epu32(_mm_xor_si128(_mm_sha1msg1_epu32(w, next), third), fourth);
    }
}

WITH_SHA_INSTRUCTIONS inline void compressBlock(__m128i& abcd, __m128i& e, const __m128i* block) {
    const __m128i reversal = _mm_set_epi64x(0x0001020304050607, 0x08090A0B0C0D0E0F);
    Working v{abcd, e, {}};
    for (int i = 0; i < 4; ++i)
        v.words[i] = _mm_shuffle_epi8(_mm_loadu_si128(block + i), reversal);
    fourRounds<0>(v);
    fourRounds<1>(v);
    fourRounds<2>(v);
    fourRounds<3>(v);
    fourRounds<4>(v);
    fourRounds<5>(v);
    fourRounds<6>(v);
    fourRounds<7>(v);
    fourRounds<8>(v);
    fourRounds<9>(v);
    fourRounds<10>(v);
    fourRounds<11>(v);
    fourRounds<12>(v);
    fourRounds<13>(v);
    fourRounds<14>(v);
    fourRounds<15>(v);
    fourRounds<16>(v);
    fourRounds<17>(v);
    fourRounds<18>(v);
    fourRounds<19>(v);
    e = _mm_sha1nexte_epu32(v.e, e);
    abcd = _mm_add_epi32(abcd, v.abcd);
}

WITH_SHA_INSTRUCTIONS void compress(Sha1State& state, const std::uint8_t* blocks, std::size_t count) {
    constexpr int reverseLanes = 0x1B;
    auto* words = reinterpret_cast<__m128i*>(state.words.data());
    __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(words), reverseLanes);
    __m128i e = _mm_set_epi32(static_cast<int>(state.words[4]), 0, 0, 0);
    for (std::size_t i = 0; i < count; ++i)
        compressBlock(abcd, e, reinterpret_cast<const __m128i*>(blocks + i * sha1BlockSize));
    _mm_storeu_si128(words, _mm_shuffle_epi32(abcd, reverseLanes));
    state.words[4] = static_cast<std::uint32_t>(_mm_extract_epi32(e, 3));
}

} // namespace

Sha1Compression acceleratedSha1Compression() {
    return processorHasShaInstructions() ? compress : nullptr;
}

} // namespace platform
