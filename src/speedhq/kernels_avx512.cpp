// The kernels for AVX-512 (F, BW, DQ, VL): 512-bit vectors, four blocks at a time.

#include <immintrin.h>

#include <cstring>

#include "speedhq/kernels.h"
#include "speedhq/macroblockwriter.h"

namespace speedhq {

namespace {

using Vec = __m512i;
constexpr int kLanes = 4;

inline Vec load(const void* at) {
    return _mm512_loadu_si512(at);
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
    return _mm512_srl_epi16(a, _mm_cvtsi32_si128(count));
}
inline Vec signed16(Vec magnitude, Vec sign) {
    return _mm512_mask_sub_epi16(magnitude, _mm512_movepi16_mask(sign), zero(), magnitude);
}
inline Vec narrowSaturated(Vec a, Vec b) {
    return _mm512_packs_epi16(a, b);
}
inline Vec shuffle(Vec a, const std::uint8_t* order) {
    return _mm512_shuffle_epi8(a, broadcastLane(order));
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

/// Stores a block's levels.
inline void storeBlock(Vec scanned, int block, MacroblockLevels& levels) {
    store(levels.scanned[block], scanned);
    levels.nonZero[block] = _mm512_test_epi8_mask(scanned, scanned);
}

/// scanned[q]: scan positions 16q to 16q + 15 of each lane's block.
inline void storeScanned(const Vec (&scanned)[4], int block, MacroblockLevels& levels) {
    const Vec low01 = _mm512_shuffle_i64x2(scanned[0], scanned[1], 0x44);
    const Vec low23 = _mm512_shuffle_i64x2(scanned[2], scanned[3], 0x44);
    const Vec high01 = _mm512_shuffle_i64x2(scanned[0], scanned[1], 0xEE);
    const Vec high23 = _mm512_shuffle_i64x2(scanned[2], scanned[3], 0xEE);
    storeBlock(_mm512_shuffle_i64x2(low01, low23, 0x88), block, levels);
    storeBlock(_mm512_shuffle_i64x2(low01, low23, 0xDD), block + 1, levels);
    storeBlock(_mm512_shuffle_i64x2(high01, high23, 0x88), block + 2, levels);
    storeBlock(_mm512_shuffle_i64x2(high01, high23, 0xDD), block + 3, levels);
}

}  // namespace

}  // namespace speedhq

#include "speedhq/vectortransform.h"

namespace speedhq {

namespace {

inline __m256i differences(const std::uint8_t* a, const std::uint8_t* b) {
    return _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a)),
                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b)));
}

// 256-bit vectors: frames rarely start at a multiple of 64 bytes, and every 512-bit load would then
// cross a cache line.
int markChanged(const std::uint8_t* a, const std::uint8_t* b, int count, int bytes,
                std::uint8_t* changed) {
    int marked = 0;
    for (int i = 0; i < count; ++i, a += bytes, b += bytes) {
        __m256i difference = differences(a, b);
        if (bytes == 64) {
            difference = _mm256_or_si256(difference, differences(a + 32, b + 32));
        }
        const int differs = _mm256_testz_si256(difference, difference) ^ 1;
        marked += differs & (changed[i] ^ 1);
        changed[i] = static_cast<std::uint8_t>(changed[i] | differs);
    }
    return marked;
}

/// Pairs of 16-bit coefficients: `even` and `odd` alternate.
inline Vec pairs(int even, int odd) {
    return _mm512_set1_epi64(
        static_cast<long long>(static_cast<std::uint64_t>(static_cast<std::uint32_t>(odd)) << 32 |
                               static_cast<std::uint32_t>(even)));
}
inline int blueRedOf(const ColourRow& row) {
    return (row.blue & 0xFFFF) | row.red * 65536;
}
inline int greenOf(const ColourRow& row) {
    return row.green & 0xFFFF;
}

void convertBgra(const std::uint8_t* pixels, std::ptrdiff_t stride, const ColourMatrix& matrix,
                 MacroblockSamples& samples) {
    const Vec lumaBlueRed = pairs(blueRedOf(matrix.y), blueRedOf(matrix.y));
    const Vec lumaGreen = pairs(greenOf(matrix.y), greenOf(matrix.y));
    const Vec chromaBlueRed = pairs(blueRedOf(matrix.cb), blueRedOf(matrix.cr));
    const Vec chromaGreen = pairs(greenOf(matrix.cb), greenOf(matrix.cr));
    const Vec lowBytes = broadcast16(0xFF);
    const Vec lumaOffset = _mm512_set1_epi32((1 << 14) + (16 - 128) * (1 << 15));
    const Vec chromaOffset = _mm512_set1_epi32(1 << 15);
    // From [Cb 0, Cr 0, Cb 1, Cr 1 ...] to [Cb ... Cr ...] in each lane.
    const __m256i apart = _mm256_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15,  //
                                           0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    for (int line = 0; line < 16; ++line, pixels += stride) {
        const Vec all = load(pixels);
        const Vec blueRed = _mm512_and_si512(all, lowBytes);
        const Vec green = _mm512_srli_epi16(all, 8);
        const Vec luma = _mm512_srai_epi32(
            _mm512_add_epi32(lumaOffset, _mm512_add_epi32(_mm512_madd_epi16(blueRed, lumaBlueRed),
                                                          _mm512_madd_epi16(green, lumaGreen))),
            15);
        _mm256_store_si256(reinterpret_cast<__m256i*>(samples.luma[line % 8][line / 8 * 2]),
                           _mm512_cvtepi32_epi16(luma));

        // The sum of each pair of pixels, twice: once for Cb, once for Cr.
        const Vec twoBlueRed = add(blueRed, _mm512_shuffle_epi32(blueRed, _MM_PERM_CDAB));
        const Vec twoGreen = add(green, _mm512_shuffle_epi32(green, _MM_PERM_CDAB));
        const Vec chroma = _mm512_srai_epi32(
            _mm512_add_epi32(chromaOffset,
                             _mm512_add_epi32(_mm512_madd_epi16(twoBlueRed, chromaBlueRed),
                                              _mm512_madd_epi16(twoGreen, chromaGreen))),
            16);
        _mm256_store_si256(reinterpret_cast<__m256i*>(samples.chroma[line % 8][line / 8 * 2]),
                           _mm256_permute4x64_epi64(
                               _mm256_shuffle_epi8(_mm512_cvtepi32_epi16(chroma), apart), 0xD8));
    }
}

void convertUyvy(const std::uint8_t* pixels, std::ptrdiff_t stride, MacroblockSamples& samples) {
    const __m256i middle = _mm256_set1_epi16(128);
    const __m256i lowBytes = _mm256_set1_epi16(0xFF);
    // From [Cb 0, Cr 0, Cb 1, Cr 1 ...] to [Cb ... Cr ...] in each lane.
    const __m256i apart = _mm256_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15,  //
                                           0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    for (int line = 0; line < 16; ++line, pixels += stride) {
        const __m256i groups = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels));
        _mm256_store_si256(reinterpret_cast<__m256i*>(samples.luma[line % 8][line / 8 * 2]),
                           _mm256_sub_epi16(_mm256_srli_epi16(groups, 8), middle));
        const __m256i chroma = _mm256_sub_epi16(_mm256_and_si256(groups, lowBytes), middle);
        _mm256_store_si256(reinterpret_cast<__m256i*>(samples.chroma[line % 8][line / 8 * 2]),
                           _mm256_permute4x64_epi64(_mm256_shuffle_epi8(chroma, apart), 0xD8));
    }
}

}  // namespace

const Kernels kAvx512Kernels = {"AVX-512",   markChanged, convertBgra,
                                convertUyvy, transform,   writeMacroblock};

}  // namespace speedhq
