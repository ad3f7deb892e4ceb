// The kernels for AVX2: 256-bit vectors, two blocks at a time.

#include <immintrin.h>

#include <cstring>

#include "speedhq/kernels.h"

namespace speedhq {

namespace {

inline std::uint64_t trailingZeros(std::uint64_t bits) {
    return _tzcnt_u64(bits);
}

using Vec = __m256i;
constexpr int kLanes = 2;

inline Vec load(const void* at) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(at));
}
/// Loads 8 * kLanes bytes as 16-bit elements.
inline Vec loadWidened(const std::uint8_t* at) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)));
}
inline void store(void* at, Vec a) {
    _mm256_storeu_si256(static_cast<__m256i*>(at), a);
}
inline Vec broadcastLane(const void* at) {
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(static_cast<const __m128i*>(at)));
}
inline Vec broadcast16(short a) {
    return _mm256_set1_epi16(a);
}
inline Vec zero() {
    return _mm256_setzero_si256();
}
inline Vec add(Vec a, Vec b) {
    return _mm256_add_epi16(a, b);
}
inline Vec sub(Vec a, Vec b) {
    return _mm256_sub_epi16(a, b);
}
inline Vec scale(Vec a, Vec factor) {
    return _mm256_mulhrs_epi16(a, factor);
}
inline Vec bitOr(Vec a, Vec b) {
    return _mm256_or_si256(a, b);
}
inline Vec magnitudeOf(Vec a) {
    return _mm256_abs_epi16(a);
}
inline Vec multiplyHigh(Vec a, Vec b) {
    return _mm256_mulhi_epu16(a, b);
}
inline Vec shiftRight(Vec a, int count) {
    return _mm256_srl_epi16(a, _mm_cvtsi32_si128(count));
}
inline Vec signed16(Vec magnitude, Vec sign) {
    return _mm256_sign_epi16(magnitude, sign);
}
inline Vec narrowSaturated(Vec a, Vec b) {
    return _mm256_packs_epi16(a, b);
}
inline Vec shuffle(Vec a, Vec order) {
    return _mm256_shuffle_epi8(a, order);
}
inline Vec interleaveLow16(Vec a, Vec b) {
    return _mm256_unpacklo_epi16(a, b);
}
inline Vec interleaveHigh16(Vec a, Vec b) {
    return _mm256_unpackhi_epi16(a, b);
}
inline Vec interleaveLow32(Vec a, Vec b) {
    return _mm256_unpacklo_epi32(a, b);
}
inline Vec interleaveHigh32(Vec a, Vec b) {
    return _mm256_unpackhi_epi32(a, b);
}
inline Vec interleaveLow64(Vec a, Vec b) {
    return _mm256_unpacklo_epi64(a, b);
}
inline Vec interleaveHigh64(Vec a, Vec b) {
    return _mm256_unpackhi_epi64(a, b);
}

inline Vec bitAnd(Vec a, Vec b) {
    return _mm256_and_si256(a, b);
}
inline Vec bitXor(Vec a, Vec b) {
    return _mm256_xor_si256(a, b);
}
inline Vec broadcast32(int a) {
    return _mm256_set1_epi32(a);
}
inline Vec add32(Vec a, Vec b) {
    return _mm256_add_epi32(a, b);
}
/// The sums of the products of adjacent 16-bit elements.
inline Vec multiplyPairs(Vec a, Vec b) {
    return _mm256_madd_epi16(a, b);
}
inline Vec upperBytes(Vec a) {
    return _mm256_srli_epi16(a, 8);
}
inline Vec upperWords(Vec a) {
    return _mm256_srli_epi32(a, 16);
}
inline Vec shiftRight15(Vec a) {
    return _mm256_srai_epi32(a, 15);
}
inline Vec narrowUnsigned(Vec a, Vec b) {
    return _mm256_packus_epi16(a, b);
}
inline Vec evenWords32(Vec a, Vec b) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0x88));
}
inline Vec oddWords32(Vec a, Vec b) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0xDD));
}
inline Vec takeOddWords(Vec a, Vec b) {
    return _mm256_blend_epi16(a, b, 0xAA);
}
inline bool anyBit(Vec a) {
    return _mm256_testz_si256(a, a) == 0;
}
/// The 32-bit element v of lane l of `a` becomes element l of group v of kLanes elements.
inline Vec groupLanes(Vec a) {
    return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

/// Bit i: lane i has an element above 127.
inline std::uint32_t lanesAbove127(Vec a) {
    const auto mask =
        static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpgt_epi16(a, broadcast16(127))));
    return static_cast<std::uint32_t>((mask & 0xFFFFU) != 0) |
           static_cast<std::uint32_t>((mask >> 16) != 0) << 1;
}

/// Stores 32 levels. Returns a mask of those that are not 0.
inline std::uint64_t storeLevels(std::int8_t* to, Vec levels) {
    store(to, levels);
    return static_cast<std::uint32_t>(~_mm256_movemask_epi8(_mm256_cmpeq_epi8(levels, zero())));
}

/// Stores the first element of each lane.
inline void storeFirsts(std::int16_t* to, Vec a) {
    to[0] = static_cast<std::int16_t>(_mm_extract_epi16(_mm256_castsi256_si128(a), 0));
    to[1] = static_cast<std::int16_t>(_mm_extract_epi16(_mm256_extracti128_si256(a, 1), 0));
}

/// scanned[q]: scan positions 16q to 16q + 15 of each lane's block.
inline void storeScanned(const Vec (&scanned)[4], int block, MacroblockLevels& levels) {
    for (int lane = 0; lane < 2; ++lane) {
        std::int8_t* const to = levels.scanned + 64 * (block + lane);
        const Vec low = lane == 0 ? _mm256_permute2x128_si256(scanned[0], scanned[1], 0x20)
                                  : _mm256_permute2x128_si256(scanned[0], scanned[1], 0x31);
        const Vec high = lane == 0 ? _mm256_permute2x128_si256(scanned[2], scanned[3], 0x20)
                                   : _mm256_permute2x128_si256(scanned[2], scanned[3], 0x31);
        levels.nonZero[block + lane] = storeLevels(to, low) | storeLevels(to + 32, high) << 32;
    }
}

}  // namespace

}  // namespace speedhq

#include "speedhq/bitcopy.h"
#include "speedhq/macroblockwriter.h"
#include "speedhq/vectorconvert.h"
#include "speedhq/vectorscan.h"
#include "speedhq/vectortransform.h"

namespace speedhq {

const Kernels kAvx2Kernels = {"AVX2",    convertBgra,     convertUyvy,
                              transform, writeMacroblock, appendBits};

}  // namespace speedhq
