#pragma once
// Converts pixels into samples with vectors. A kernel file defines Vec, kLanes and the operations
// used below for its instruction set, in an unnamed namespace, and then includes this header. Like
// macroblockwriter.h it is compiled once per instruction set.
//
// Four vectors of pixels give one vector of luma and one of chroma, which are kLanes lines of the
// macroblock in the order in which MacroblockSamples stores them.

namespace speedhq {
namespace {

/// For byte shuffles: from Cb and Cr alternating to 8 Cb and 8 Cr.
alignas(16) constexpr std::uint8_t kSeparateChroma[16] = {0, 2, 4, 6, 8, 10, 12, 14,
                                                          1, 3, 5, 7, 9, 11, 13, 15};

/// Pairs of 16-bit factors. A pixel's green has kOffset as its partner, so that the products
/// include the offset of the component and the rounding.
struct BgraCoefficients {
    static constexpr int kOffset = 1 << 14;
    /// The sum of two pixels has twice kOffset, which is -2^15 in 16 bits.
    static constexpr int kChromaOffset = ((128 << 16) + (1 << 15)) / (-2 * kOffset);

    Vec lumaBlueRed;
    Vec lumaGreen;
    Vec cbBlueRed;
    Vec cbGreen;
    Vec crBlueRed;
    Vec crGreen;
    Vec lowBytes = broadcast16(0xFF);
    Vec offset = broadcast16(kOffset);
    Vec separated = broadcastLane(kSeparateChroma);

    static Vec blueRed(const ColourRow& row) {
        return broadcast32((row.blue & 0xFFFF) | row.red * 65536);
    }
    static Vec green(const ColourRow& row, int offset) {
        return broadcast32((row.green & 0xFFFF) | offset * 65536);
    }

    explicit BgraCoefficients(const ColourMatrix& matrix)
        : lumaBlueRed(blueRed(matrix.y)),
          lumaGreen(green(matrix.y, ((16 << 15) + (1 << 14)) / kOffset)),
          cbBlueRed(blueRed(matrix.cb)),
          cbGreen(green(matrix.cb, kChromaOffset)),
          crBlueRed(blueRed(matrix.cr)),
          crGreen(green(matrix.cr, kChromaOffset)) {}
};

/// 8 pixels per lane: 4 from `a`, then 4 from `b`. The results are 16-bit elements: the luma
/// samples, and Cb and Cr alternating.
inline void weighPixels(Vec a, Vec b, const BgraCoefficients& c, Vec& luma, Vec& chroma) {
    const Vec even = evenWords32(a, b);
    const Vec odd = oddWords32(a, b);
    const Vec evenBlueRed = bitAnd(even, c.lowBytes);
    const Vec oddBlueRed = bitAnd(odd, c.lowBytes);
    const Vec evenGreen = takeOddWords(upperBytes(even), c.offset);
    const Vec oddGreen = takeOddWords(upperBytes(odd), c.offset);

    const Vec evenLuma =
        add32(multiplyPairs(evenBlueRed, c.lumaBlueRed), multiplyPairs(evenGreen, c.lumaGreen));
    const Vec oddLuma =
        add32(multiplyPairs(oddBlueRed, c.lumaBlueRed), multiplyPairs(oddGreen, c.lumaGreen));
    luma = takeOddWords(shiftRight15(evenLuma), add32(oddLuma, oddLuma));

    const Vec blueRed = add(evenBlueRed, oddBlueRed);
    const Vec green = add(evenGreen, oddGreen);
    const Vec cb = add32(multiplyPairs(blueRed, c.cbBlueRed), multiplyPairs(green, c.cbGreen));
    const Vec cr = add32(multiplyPairs(blueRed, c.crBlueRed), multiplyPairs(green, c.crGreen));
    chroma = takeOddWords(upperWords(cb), cr);
}

/// Stores `samples` and adds to `differences` the bits that differ from the previous ones.
inline void replace(std::uint8_t* at, Vec samples, Vec& differences) {
    differences = bitOr(differences, bitXor(load(at), samples));
    store(at, samples);
}

/// Hardware prefetching is late for 16 lines in as many memory pages, and for the previous samples,
/// which have left the caches since the last frame. Four macroblocks of pixels and two of samples
/// ahead: more would displace each other in the first-level cache.
constexpr std::ptrdiff_t kPixelPrefetch = 4 * 64;
constexpr std::ptrdiff_t kSamplePrefetch = 2 * sizeof(MacroblockSamples);

inline void prefetch(const std::uint8_t* at) {
    _mm_prefetch(reinterpret_cast<const char*>(at), _MM_HINT_T0);
}

inline bool convertMacroblock(const std::uint8_t* pixels, std::ptrdiff_t stride,
                              const BgraCoefficients& coefficients, MacroblockSamples& samples) {
    // A unit is one line: 16 luma samples, or 8 Cb and 8 Cr. Units 2y and 2y + 1 are lines y and
    // y + 8, as they are stored. A step has as many units as there are lanes, and a turn of the
    // loop at least two.
    constexpr int kUnitsPerTurn = kLanes < 2 ? 2 : kLanes;
    constexpr int kVectorsPerUnit = 4 / kLanes;
    Vec differences = zero();
    std::uint8_t* luma = &samples.luma[0][0][0];
    std::uint8_t* chroma = &samples.chroma[0][0][0];
    const std::ptrdiff_t eightLines = 8 * stride;
    for (int turn = 0; turn < 16; turn += kUnitsPerTurn) {
        if (turn % 4 == 0) {
            prefetch(luma + kSamplePrefetch);
            prefetch(chroma + kSamplePrefetch);
        }
        for (int step = 0; step < kUnitsPerTurn; step += kLanes) {
            Vec vectors[4];
            for (int i = 0; i < 4; ++i) {
                const int unit = step + i / kVectorsPerUnit;
                const std::uint8_t* const line = pixels + unit / 2 * stride + unit % 2 * eightLines;
                if (i % kVectorsPerUnit == 0) {
                    prefetch(line + kPixelPrefetch);
                }
                vectors[i] = load(line + i % kVectorsPerUnit * 16 * kLanes);
            }
            Vec y[2];
            Vec cbCr[2];
            weighPixels(vectors[0], vectors[1], coefficients, y[0], cbCr[0]);
            weighPixels(vectors[2], vectors[3], coefficients, y[1], cbCr[1]);
            replace(luma, groupLanes(narrowUnsigned(y[0], y[1])), differences);
            replace(chroma,
                    shuffle(groupLanes(narrowUnsigned(cbCr[0], cbCr[1])), coefficients.separated),
                    differences);
            luma += 16 * kLanes;
            chroma += 16 * kLanes;
        }
        pixels += kUnitsPerTurn / 2 * stride;
    }
    return anyBit(differences);
}

int convertBgra(const std::uint8_t* pixels, std::ptrdiff_t stride, const ColourMatrix& matrix,
                MacroblockSamples* samples, int count, std::uint8_t* changed) {
    const BgraCoefficients coefficients(matrix);
    int differing = 0;
    for (int i = 0; i < count; ++i) {
        const bool differs =
            convertMacroblock(pixels + std::ptrdiff_t{64} * i, stride, coefficients, samples[i]);
        changed[i] = differs ? 1 : 0;
        differing += changed[i];
    }
    return differing;
}

/// One line of 16 pixels, with 128-bit vectors at all levels.
inline void separateUyvy(const std::uint8_t* pixels, __m128i& luma, __m128i& chroma) {
    const __m128i* const halves = reinterpret_cast<const __m128i*>(pixels);
    const __m128i left = _mm_loadu_si128(halves);
    const __m128i right = _mm_loadu_si128(halves + 1);
    const __m128i lowBytes = _mm_set1_epi16(0xFF);
    luma = _mm_packus_epi16(_mm_srli_epi16(left, 8), _mm_srli_epi16(right, 8));
    chroma = _mm_shuffle_epi8(
        _mm_packus_epi16(_mm_and_si128(left, lowBytes), _mm_and_si128(right, lowBytes)),
        _mm_load_si128(reinterpret_cast<const __m128i*>(kSeparateChroma)));
}

int convertUyvy(const std::uint8_t* pixels, std::ptrdiff_t stride, MacroblockSamples* samples,
                int count, std::uint8_t* changed) {
    int differing = 0;
    for (int i = 0; i < count; ++i) {
        __m128i differences = _mm_setzero_si128();
        for (int line = 0; line < 16; ++line) {
            __m128i values[2];
            separateUyvy(pixels + line * stride + std::ptrdiff_t{32} * i, values[0], values[1]);
            const int block = line / 8 * 2;
            __m128i* const places[2] = {
                reinterpret_cast<__m128i*>(samples[i].luma[line % 8][block]),
                reinterpret_cast<__m128i*>(samples[i].chroma[line % 8][block])};
            for (int part = 0; part < 2; ++part) {
                differences = _mm_or_si128(
                    differences, _mm_xor_si128(_mm_load_si128(places[part]), values[part]));
                _mm_store_si128(places[part], values[part]);
            }
        }
        changed[i] = _mm_testz_si128(differences, differences) == 0 ? 1 : 0;
        differing += changed[i];
    }
    return differing;
}

}  // namespace
}  // namespace speedhq
