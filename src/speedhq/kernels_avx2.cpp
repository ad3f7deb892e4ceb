// The kernels for AVX2: 256-bit vectors, two blocks at a time.

#include <immintrin.h>

#include <cstring>

#include "speedhq/kernels.h"
#include "speedhq/macroblockwriter.h"

namespace speedhq {

namespace {

using Vec = __m256i;
constexpr int kLanes = 2;

inline Vec load(const void* at) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(at));
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
inline Vec shuffle(Vec a, const std::uint8_t* order) {
    return _mm256_shuffle_epi8(a, broadcastLane(order));
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

/// scanned[q]: scan positions 16q to 16q + 15 of each lane's block.
inline void storeScanned(const Vec (&scanned)[4], int block, MacroblockLevels& levels) {
    for (int lane = 0; lane < 2; ++lane) {
        std::int8_t* const to = levels.scanned[block + lane];
        const Vec low = lane == 0 ? _mm256_permute2x128_si256(scanned[0], scanned[1], 0x20)
                                  : _mm256_permute2x128_si256(scanned[0], scanned[1], 0x31);
        const Vec high = lane == 0 ? _mm256_permute2x128_si256(scanned[2], scanned[3], 0x20)
                                   : _mm256_permute2x128_si256(scanned[2], scanned[3], 0x31);
        levels.nonZero[block + lane] = storeLevels(to, low) | storeLevels(to + 32, high) << 32;
    }
}

}  // namespace

}  // namespace speedhq

#include "speedhq/vectortransform.h"

namespace speedhq {

namespace {

int markChanged(const std::uint8_t* a, const std::uint8_t* b, int count, int bytes,
                std::uint8_t* changed) {
    int marked = 0;
    for (int i = 0; i < count; ++i, a += bytes, b += bytes) {
        Vec difference = _mm256_xor_si256(load(a), load(b));
        if (bytes == 64) {
            difference = bitOr(difference, _mm256_xor_si256(load(a + 32), load(b + 32)));
        }
        const int differs = _mm256_testz_si256(difference, difference) ^ 1;
        marked += differs & (changed[i] ^ 1);
        changed[i] = static_cast<std::uint8_t>(changed[i] | differs);
    }
    return marked;
}

/// Coefficients for products of [blue, red] and of [green, alpha], as 16-bit pairs.
struct PairCoefficients {
    Vec blueRed;
    Vec green;

    explicit PairCoefficients(const ColourRow& row)
        : blueRed(_mm256_set1_epi32((row.blue & 0xFFFF) | row.red * 65536)),
          green(_mm256_set1_epi32(row.green & 0xFFFF)) {}

    /// Sums in 32 bits, with `offset` added.
    [[nodiscard]] Vec weigh(Vec blueRedPairs, Vec greenPairs, Vec offset) const {
        return _mm256_add_epi32(offset, _mm256_add_epi32(_mm256_madd_epi16(blueRedPairs, blueRed),
                                                         _mm256_madd_epi16(greenPairs, green)));
    }
};

/// The 32-bit elements of a and b at even (or odd) places.
template <int select>
inline Vec everySecond(Vec a, Vec b) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), select));
}
constexpr int kEven = 0x88;
constexpr int kOdd = 0xDD;

void convertBgra(const std::uint8_t* pixels, std::ptrdiff_t stride, const ColourMatrix& matrix,
                 MacroblockSamples& samples) {
    const PairCoefficients y(matrix.y);
    const PairCoefficients cb(matrix.cb);
    const PairCoefficients cr(matrix.cr);
    const Vec lowBytes = _mm256_set1_epi16(0xFF);
    const Vec lumaOffset = _mm256_set1_epi32((1 << 14) + (16 - 128) * (1 << 15));
    const Vec chromaOffset = _mm256_set1_epi32(1 << 15);
    // From [pairs 0 1 4 5 of Cb, of Cr | pairs 2 3 6 7 of Cb, of Cr] to [Cb | Cr].
    const Vec inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (int line = 0; line < 16; ++line, pixels += stride) {
        const Vec left = load(pixels);
        const Vec right = load(pixels + 32);
        const Vec leftBlueRed = _mm256_and_si256(left, lowBytes);
        const Vec rightBlueRed = _mm256_and_si256(right, lowBytes);
        const Vec leftGreen = _mm256_srli_epi16(left, 8);
        const Vec rightGreen = _mm256_srli_epi16(right, 8);

        const Vec lumaLeft = _mm256_srai_epi32(y.weigh(leftBlueRed, leftGreen, lumaOffset), 15);
        const Vec lumaRight = _mm256_srai_epi32(y.weigh(rightBlueRed, rightGreen, lumaOffset), 15);
        const Vec luma = _mm256_permute4x64_epi64(_mm256_packs_epi32(lumaLeft, lumaRight), 0xD8);
        store(samples.luma[line % 8][line / 8 * 2], luma);

        const Vec blueRed = add(everySecond<kEven>(leftBlueRed, rightBlueRed),
                                everySecond<kOdd>(leftBlueRed, rightBlueRed));
        const Vec green = add(everySecond<kEven>(leftGreen, rightGreen),
                              everySecond<kOdd>(leftGreen, rightGreen));
        const Vec blueness = _mm256_srai_epi32(cb.weigh(blueRed, green, chromaOffset), 16);
        const Vec redness = _mm256_srai_epi32(cr.weigh(blueRed, green, chromaOffset), 16);
        store(samples.chroma[line % 8][line / 8 * 2],
              _mm256_permutevar8x32_epi32(_mm256_packs_epi32(blueness, redness), inOrder));
    }
}

void convertUyvy(const std::uint8_t* pixels, std::ptrdiff_t stride, MacroblockSamples& samples) {
    const Vec middle = broadcast16(128);
    const Vec lowBytes = broadcast16(0xFF);
    // From [Cb 0, Cr 0, Cb 1, Cr 1 ...] to [Cb ... Cr ...] in each lane.
    const Vec apart = _mm256_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15,  //
                                       0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    for (int line = 0; line < 16; ++line, pixels += stride) {
        const Vec groups = load(pixels);
        store(samples.luma[line % 8][line / 8 * 2], sub(_mm256_srli_epi16(groups, 8), middle));
        const Vec chroma = sub(_mm256_and_si256(groups, lowBytes), middle);
        store(samples.chroma[line % 8][line / 8 * 2],
              _mm256_permute4x64_epi64(_mm256_shuffle_epi8(chroma, apart), 0xD8));
    }
}

}  // namespace

const Kernels kAvx2Kernels = {"AVX2",      markChanged, convertBgra,
                              convertUyvy, transform,   writeMacroblock};

}  // namespace speedhq
