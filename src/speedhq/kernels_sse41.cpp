// The kernels for SSE4.1: 128-bit vectors, one block at a time.

#include <smmintrin.h>

#include <cstring>

#include "speedhq/kernels.h"

namespace speedhq {

namespace {

inline std::uint64_t trailingZeros(std::uint64_t bits) {
    return bits == 0 ? 64 : static_cast<std::uint64_t>(__builtin_ctzll(bits));
}

using Vec = __m128i;
constexpr int kLanes = 1;

inline Vec load(const void* at) {
    return _mm_loadu_si128(static_cast<const __m128i*>(at));
}
/// Loads 8 * kLanes bytes as 16-bit elements.
inline Vec loadWidened(const std::uint8_t* at) {
    return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)));
}
inline void store(void* at, Vec a) {
    _mm_storeu_si128(static_cast<__m128i*>(at), a);
}
inline Vec broadcastLane(const void* at) {
    return load(at);
}
inline Vec broadcast16(short a) {
    return _mm_set1_epi16(a);
}
inline Vec zero() {
    return _mm_setzero_si128();
}
inline Vec add(Vec a, Vec b) {
    return _mm_add_epi16(a, b);
}
inline Vec sub(Vec a, Vec b) {
    return _mm_sub_epi16(a, b);
}
inline Vec scale(Vec a, Vec factor) {
    return _mm_mulhrs_epi16(a, factor);
}
inline Vec bitOr(Vec a, Vec b) {
    return _mm_or_si128(a, b);
}
inline Vec magnitudeOf(Vec a) {
    return _mm_abs_epi16(a);
}
inline Vec multiplyHigh(Vec a, Vec b) {
    return _mm_mulhi_epu16(a, b);
}
inline Vec shiftRight(Vec a, int count) {
    return _mm_srl_epi16(a, _mm_cvtsi32_si128(count));
}
inline Vec signed16(Vec magnitude, Vec sign) {
    return _mm_sign_epi16(magnitude, sign);
}
inline Vec narrowSaturated(Vec a, Vec b) {
    return _mm_packs_epi16(a, b);
}
inline Vec shuffle(Vec a, Vec order) {
    return _mm_shuffle_epi8(a, order);
}
inline Vec interleaveLow16(Vec a, Vec b) {
    return _mm_unpacklo_epi16(a, b);
}
inline Vec interleaveHigh16(Vec a, Vec b) {
    return _mm_unpackhi_epi16(a, b);
}
inline Vec interleaveLow32(Vec a, Vec b) {
    return _mm_unpacklo_epi32(a, b);
}
inline Vec interleaveHigh32(Vec a, Vec b) {
    return _mm_unpackhi_epi32(a, b);
}
inline Vec interleaveLow64(Vec a, Vec b) {
    return _mm_unpacklo_epi64(a, b);
}
inline Vec interleaveHigh64(Vec a, Vec b) {
    return _mm_unpackhi_epi64(a, b);
}

inline Vec bitAnd(Vec a, Vec b) {
    return _mm_and_si128(a, b);
}
inline Vec bitXor(Vec a, Vec b) {
    return _mm_xor_si128(a, b);
}
inline Vec broadcast32(int a) {
    return _mm_set1_epi32(a);
}
inline Vec add32(Vec a, Vec b) {
    return _mm_add_epi32(a, b);
}
/// The sums of the products of adjacent 16-bit elements.
inline Vec multiplyPairs(Vec a, Vec b) {
    return _mm_madd_epi16(a, b);
}
inline Vec upperBytes(Vec a) {
    return _mm_srli_epi16(a, 8);
}
inline Vec upperWords(Vec a) {
    return _mm_srli_epi32(a, 16);
}
inline Vec shiftRight15(Vec a) {
    return _mm_srai_epi32(a, 15);
}
inline Vec narrowUnsigned(Vec a, Vec b) {
    return _mm_packus_epi16(a, b);
}
inline Vec evenWords32(Vec a, Vec b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0x88));
}
inline Vec oddWords32(Vec a, Vec b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0xDD));
}
inline Vec takeOddWords(Vec a, Vec b) {
    return _mm_blend_epi16(a, b, 0xAA);
}
inline bool anyBit(Vec a) {
    return _mm_testz_si128(a, a) == 0;
}
/// The 32-bit element v of lane l of `a` becomes element l of group v of kLanes elements.
inline Vec groupLanes(Vec a) {
    return a;
}

/// Bit i: lane i has an element above 127.
inline std::uint32_t lanesAbove127(Vec a) {
    return _mm_movemask_epi8(_mm_cmpgt_epi16(a, broadcast16(127))) != 0 ? 1 : 0;
}

/// Stores the first element of each lane.
inline void storeFirsts(std::int16_t* to, Vec a) {
    to[0] = static_cast<std::int16_t>(_mm_extract_epi16(a, 0));
}

/// scanned[q]: scan positions 16q to 16q + 15 of each lane's block.
inline void storeScanned(const Vec (&scanned)[4], int block, MacroblockLevels& levels) {
    std::uint64_t nonZero = 0;
    for (int quarter = 0; quarter < 4; ++quarter) {
        store(levels.scanned + 64 * block + 16 * quarter, scanned[quarter]);
        const int zeros = _mm_movemask_epi8(_mm_cmpeq_epi8(scanned[quarter], zero()));
        nonZero |= static_cast<std::uint64_t>(~zeros & 0xFFFF) << (16 * quarter);
    }
    levels.nonZero[block] = nonZero;
}

}  // namespace

}  // namespace speedhq

#include "speedhq/bitcopy.h"
#include "speedhq/macroblockwriter.h"
#include "speedhq/vectorconvert.h"
#include "speedhq/vectorscan.h"
#include "speedhq/vectortransform.h"

namespace speedhq {

const Kernels kSse41Kernels = {"SSE4.1",  convertBgra,     convertUyvy,
                               transform, writeMacroblock, appendBits};

}  // namespace speedhq
