// The kernels for AVX-512 (F, BW, DQ, VL, VBMI, VBMI2): 512-bit vectors, four blocks at a time.

#include <immintrin.h>

#include <cstring>

#include "speedhq/kernels.h"

namespace speedhq {

namespace {

inline std::uint64_t trailingZeros(std::uint64_t bits) {
    return _tzcnt_u64(bits);
}

using Vec = __m512i;
constexpr int kLanes = 4;

inline Vec load(const void* at) {
    return _mm512_loadu_si512(at);
}
/// Loads 8 * kLanes bytes as 16-bit elements.
inline Vec loadWidened(const std::uint8_t* at) {
    return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)));
}
inline void store(void* at, Vec a) {
    _mm512_storeu_si512(at, a);
}
inline Vec broadcastLane(const void* at) {
    return _mm512_broadcast_i32x4(_mm_loadu_si128(static_cast<const __m128i*>(at)));
}
inline Vec broadcast16(short a) {
    return _mm512_set1_epi16(a);
}
inline Vec zero() {
    return _mm512_setzero_si512();
}
inline Vec add(Vec a, Vec b) {
    return _mm512_add_epi16(a, b);
}
inline Vec sub(Vec a, Vec b) {
    return _mm512_sub_epi16(a, b);
}
inline Vec scale(Vec a, Vec factor) {
    return _mm512_mulhrs_epi16(a, factor);
}
inline Vec bitOr(Vec a, Vec b) {
    return _mm512_or_si512(a, b);
}
inline Vec magnitudeOf(Vec a) {
    return _mm512_abs_epi16(a);
}
inline Vec multiplyHigh(Vec a, Vec b) {
    return _mm512_mulhi_epu16(a, b);
}
inline Vec shiftRight(Vec a, int count) {
    return _mm512_srlv_epi16(a, _mm512_set1_epi16(static_cast<short>(count)));
}
inline Vec signed16(Vec magnitude, Vec sign) {
    return _mm512_mask_sub_epi16(magnitude, _mm512_movepi16_mask(sign), zero(), magnitude);
}
inline Vec narrowSaturated(Vec a, Vec b) {
    return _mm512_packs_epi16(a, b);
}
inline Vec shuffle(Vec a, Vec order) {
    return _mm512_shuffle_epi8(a, order);
}
inline Vec interleaveLow16(Vec a, Vec b) {
    return _mm512_unpacklo_epi16(a, b);
}
inline Vec interleaveHigh16(Vec a, Vec b) {
    return _mm512_unpackhi_epi16(a, b);
}
inline Vec interleaveLow32(Vec a, Vec b) {
    return _mm512_unpacklo_epi32(a, b);
}
inline Vec interleaveHigh32(Vec a, Vec b) {
    return _mm512_unpackhi_epi32(a, b);
}
inline Vec interleaveLow64(Vec a, Vec b) {
    return _mm512_unpacklo_epi64(a, b);
}
inline Vec interleaveHigh64(Vec a, Vec b) {
    return _mm512_unpackhi_epi64(a, b);
}

inline Vec bitAnd(Vec a, Vec b) {
    return _mm512_and_si512(a, b);
}
inline Vec bitXor(Vec a, Vec b) {
    return _mm512_xor_si512(a, b);
}
inline Vec broadcast32(int a) {
    return _mm512_set1_epi32(a);
}
inline Vec add32(Vec a, Vec b) {
    return _mm512_add_epi32(a, b);
}
/// The sums of the products of adjacent 16-bit elements.
inline Vec multiplyPairs(Vec a, Vec b) {
    return _mm512_madd_epi16(a, b);
}
inline Vec upperBytes(Vec a) {
    return _mm512_srli_epi16(a, 8);
}
inline Vec upperWords(Vec a) {
    return _mm512_srli_epi32(a, 16);
}
inline Vec shiftRight15(Vec a) {
    return _mm512_srai_epi32(a, 15);
}
inline Vec narrowUnsigned(Vec a, Vec b) {
    return _mm512_packus_epi16(a, b);
}
inline Vec evenWords32(Vec a, Vec b) {
    return _mm512_castps_si512(
        _mm512_shuffle_ps(_mm512_castsi512_ps(a), _mm512_castsi512_ps(b), 0x88));
}
inline Vec oddWords32(Vec a, Vec b) {
    return _mm512_castps_si512(
        _mm512_shuffle_ps(_mm512_castsi512_ps(a), _mm512_castsi512_ps(b), 0xDD));
}
inline Vec takeOddWords(Vec a, Vec b) {
    return _mm512_mask_blend_epi16(0xAAAAAAAA, a, b);
}
inline bool anyBit(Vec a) {
    return _mm512_test_epi32_mask(a, a) != 0;
}
/// The 32-bit element v of lane l of `a` becomes element l of group v of kLanes elements.
inline Vec groupLanes(Vec a) {
    return _mm512_permutexvar_epi32(
        _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15), a);
}

/// Bit i: lane i has an element above 127.
inline std::uint32_t lanesAbove127(Vec a) {
    const std::uint32_t mask = _mm512_cmpgt_epi16_mask(a, broadcast16(127));
    if (mask == 0) {
        return 0;
    }
    return static_cast<std::uint32_t>((mask & 0xFFU) != 0) |
           static_cast<std::uint32_t>((mask & 0xFF00U) != 0) << 1 |
           static_cast<std::uint32_t>((mask & 0xFF0000U) != 0) << 2 |
           static_cast<std::uint32_t>((mask >> 24) != 0) << 3;
}

/// Stores the first element of each lane.
inline void storeFirsts(std::int16_t* to, Vec a) {
    const __m512i firsts = _mm512_maskz_compress_epi16(0x01010101, a);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm512_castsi512_si128(firsts));
}

/// Stores a block's levels in scan order.
inline void storeBlock(Vec bytes, int block, MacroblockLevels& levels) {
    const Vec scanned = _mm512_permutexvar_epi8(load(kScan.data()), bytes);
    store(levels.scanned + 64 * block, scanned);
    levels.nonZero[block] = _mm512_test_epi8_mask(scanned, scanned);
}

/// bytes[k]: levels 16k to 16k + 15 of each lane's block, as the transform leaves them.
inline void storeLevels(const Vec (&bytes)[4], int block, MacroblockLevels& levels) {
    const Vec low01 = _mm512_shuffle_i64x2(bytes[0], bytes[1], 0x44);
    const Vec low23 = _mm512_shuffle_i64x2(bytes[2], bytes[3], 0x44);
    const Vec high01 = _mm512_shuffle_i64x2(bytes[0], bytes[1], 0xEE);
    const Vec high23 = _mm512_shuffle_i64x2(bytes[2], bytes[3], 0xEE);
    storeBlock(_mm512_shuffle_i64x2(low01, low23, 0x88), block, levels);
    storeBlock(_mm512_shuffle_i64x2(low01, low23, 0xDD), block + 1, levels);
    storeBlock(_mm512_shuffle_i64x2(high01, high23, 0x88), block + 2, levels);
    storeBlock(_mm512_shuffle_i64x2(high01, high23, 0xDD), block + 3, levels);
}

}  // namespace

}  // namespace speedhq

#include "speedhq/bitcopy.h"
#include "speedhq/macroblockwriter.h"
#include "speedhq/vectorconvert.h"
#include "speedhq/vectortransform.h"
#include "speedhq/vectorwriter.h"

namespace speedhq {

const Kernels kAvx512Kernels = {
    "AVX-512", convertBgra, convertUyvy, transform, writeMacroblockByVectors, appendBits};

}  // namespace speedhq
