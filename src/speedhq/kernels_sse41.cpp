// The kernels for SSE4.1: 128-bit vectors, one block at a time.

#include <smmintrin.h>

#include <cstring>

#include "speedhq/kernels.h"
#include "speedhq/macroblockwriter.h"

namespace speedhq {

namespace {

using Vec = __m128i;
constexpr int kLanes = 1;

inline Vec load(const void* at) {
    return _mm_loadu_si128(static_cast<const __m128i*>(at));
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
inline Vec shuffle(Vec a, const std::uint8_t* order) {
    return _mm_shuffle_epi8(a, broadcastLane(order));
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

/// Bit i: lane i has an element above 127.
inline std::uint32_t lanesAbove127(Vec a) {
    return _mm_movemask_epi8(_mm_cmpgt_epi16(a, broadcast16(127))) != 0 ? 1 : 0;
}

/// scanned[q]: scan positions 16q to 16q + 15 of each lane's block.
inline void storeScanned(const Vec (&scanned)[4], int block, MacroblockLevels& levels) {
    std::uint64_t nonZero = 0;
    for (int quarter = 0; quarter < 4; ++quarter) {
        store(levels.scanned[block] + 16 * quarter, scanned[quarter]);
        const int zeros = _mm_movemask_epi8(_mm_cmpeq_epi8(scanned[quarter], zero()));
        nonZero |= static_cast<std::uint64_t>(~zeros & 0xFFFF) << (16 * quarter);
    }
    levels.nonZero[block] = nonZero;
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
        Vec difference = zero();
        for (int at = 0; at < bytes; at += 16) {
            difference = bitOr(difference, _mm_xor_si128(load(a + at), load(b + at)));
        }
        const int differs = _mm_testz_si128(difference, difference) ^ 1;
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
        : blueRed(_mm_set1_epi32((row.blue & 0xFFFF) | row.red * 65536)),
          green(_mm_set1_epi32(row.green & 0xFFFF)) {}

    /// Sums in 32 bits, with `offset` added.
    [[nodiscard]] Vec weigh(Vec blueRedPairs, Vec greenPairs, Vec offset) const {
        return _mm_add_epi32(offset, _mm_add_epi32(_mm_madd_epi16(blueRedPairs, blueRed),
                                                   _mm_madd_epi16(greenPairs, green)));
    }
};

/// The even (or odd) 32-bit elements of a and b.
template <int select>
inline Vec everySecond(Vec a, Vec b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), select));
}
constexpr int kEven = 0x88;
constexpr int kOdd = 0xDD;

void convertBgra(const std::uint8_t* pixels, std::ptrdiff_t stride, const ColourMatrix& matrix,
                 MacroblockSamples& samples) {
    const PairCoefficients y(matrix.y);
    const PairCoefficients cb(matrix.cb);
    const PairCoefficients cr(matrix.cr);
    const Vec lowBytes = broadcast16(0xFF);
    const Vec lumaOffset = _mm_set1_epi32((1 << 14) + (16 - 128) * (1 << 15));
    const Vec chromaOffset = _mm_set1_epi32(1 << 15);
    for (int line = 0; line < 16; ++line, pixels += stride) {
        Vec cbSamples[2];
        Vec crSamples[2];
        for (int half = 0; half < 2; ++half) {
            const Vec left = load(pixels + 32 * half);
            const Vec right = load(pixels + 32 * half + 16);
            const Vec leftBlueRed = _mm_and_si128(left, lowBytes);
            const Vec rightBlueRed = _mm_and_si128(right, lowBytes);
            const Vec leftGreen = _mm_srli_epi16(left, 8);
            const Vec rightGreen = _mm_srli_epi16(right, 8);
            const Vec lumaLeft = _mm_srai_epi32(y.weigh(leftBlueRed, leftGreen, lumaOffset), 15);
            const Vec lumaRight = _mm_srai_epi32(y.weigh(rightBlueRed, rightGreen, lumaOffset), 15);
            store(samples.luma[line % 8][line / 8 * 2 + half],
                  _mm_packs_epi32(lumaLeft, lumaRight));

            const Vec blueRed = add(everySecond<kEven>(leftBlueRed, rightBlueRed),
                                    everySecond<kOdd>(leftBlueRed, rightBlueRed));
            const Vec green = add(everySecond<kEven>(leftGreen, rightGreen),
                                  everySecond<kOdd>(leftGreen, rightGreen));
            cbSamples[half] = _mm_srai_epi32(cb.weigh(blueRed, green, chromaOffset), 16);
            crSamples[half] = _mm_srai_epi32(cr.weigh(blueRed, green, chromaOffset), 16);
        }
        auto* const chroma = samples.chroma[line % 8] + line / 8 * 2;
        store(chroma[0], _mm_packs_epi32(cbSamples[0], cbSamples[1]));
        store(chroma[1], _mm_packs_epi32(crSamples[0], crSamples[1]));
    }
}

void convertUyvy(const std::uint8_t* pixels, std::ptrdiff_t stride, MacroblockSamples& samples) {
    const Vec middle = broadcast16(128);
    const Vec lowBytes = broadcast16(0xFF);
    // From [Cb 0, Cr 0, Cb 1, Cr 1 ...] to [Cb ... Cr ...].
    const Vec apart = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    for (int line = 0; line < 16; ++line, pixels += stride) {
        const Vec left = load(pixels);
        const Vec right = load(pixels + 16);
        auto* const luma = samples.luma[line % 8] + line / 8 * 2;
        store(luma[0], sub(_mm_srli_epi16(left, 8), middle));
        store(luma[1], sub(_mm_srli_epi16(right, 8), middle));
        const Vec chromaLeft = _mm_shuffle_epi8(sub(_mm_and_si128(left, lowBytes), middle), apart);
        const Vec chromaRight =
            _mm_shuffle_epi8(sub(_mm_and_si128(right, lowBytes), middle), apart);
        auto* const chroma = samples.chroma[line % 8] + line / 8 * 2;
        store(chroma[0], interleaveLow64(chromaLeft, chromaRight));
        store(chroma[1], interleaveHigh64(chromaLeft, chromaRight));
    }
}

}  // namespace

const Kernels kSse41Kernels = {"SSE4.1",    markChanged, convertBgra,
                               convertUyvy, transform,   writeMacroblock};

}  // namespace speedhq
