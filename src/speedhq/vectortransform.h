#pragma once
// Transforms several blocks at a time, one in each 128-bit lane of a vector. A kernel file defines
// Vec, kLanes and the operations used below for its instruction set, in an unnamed namespace, and
// then includes this header. Like macroblockwriter.h it is compiled once per instruction set.
//
// kernels_reference.cpp explains the arithmetic. Here a vector holds a line of a block: first line
// y, its elements the columns x; after the transposition column x, its elements the vertical
// frequencies v.

namespace speedhq {
namespace {

inline void transformColumns(Vec (&values)[8]) {
    const Vec cos4 = broadcast16(23170);
    const Vec cos6 = broadcast16(12540);
    const Vec cos2LessCos6 = broadcast16(17734);
    const Vec cos2AndCos6 = broadcast16(10045);
    const Vec sum0 = add(values[0], values[7]);
    const Vec sum1 = add(values[1], values[6]);
    const Vec sum2 = add(values[2], values[5]);
    const Vec sum3 = add(values[3], values[4]);
    const Vec difference0 = sub(values[0], values[7]);
    const Vec difference1 = sub(values[1], values[6]);
    const Vec difference2 = sub(values[2], values[5]);
    const Vec difference3 = sub(values[3], values[4]);

    const Vec outer = add(sum0, sum3);
    const Vec inner = add(sum1, sum2);
    const Vec outerTilt = sub(sum0, sum3);
    const Vec tilt = scale(add(sub(sum1, sum2), outerTilt), cos4);
    values[0] = add(outer, inner);
    values[4] = sub(outer, inner);
    values[2] = add(outerTilt, tilt);
    values[6] = sub(outerTilt, tilt);

    const Vec a = add(difference3, difference2);
    const Vec b = add(difference2, difference1);
    const Vec c = add(difference1, difference0);
    const Vec shared = scale(sub(a, c), cos6);
    const Vec fromA = add(scale(a, cos2LessCos6), shared);
    const Vec fromC = add(add(c, scale(c, cos2AndCos6)), shared);
    const Vec fromB = scale(b, cos4);
    const Vec plus = add(difference0, fromB);
    const Vec minus = sub(difference0, fromB);
    values[5] = add(minus, fromA);
    values[3] = sub(minus, fromA);
    values[1] = add(plus, fromC);
    values[7] = sub(plus, fromC);
}

inline void transpose(Vec (&values)[8]) {
    Vec pairs[8];
    for (int i = 0; i < 4; ++i) {
        pairs[i] = interleaveLow16(values[2 * i], values[2 * i + 1]);
        pairs[4 + i] = interleaveHigh16(values[2 * i], values[2 * i + 1]);
    }
    Vec fours[8];
    for (int i = 0; i < 4; ++i) {
        fours[i] = interleaveLow32(pairs[2 * i], pairs[2 * i + 1]);
        fours[4 + i] = interleaveHigh32(pairs[2 * i], pairs[2 * i + 1]);
    }
    for (int half = 0; half < 2; ++half) {
        values[4 * half] = interleaveLow64(fours[2 * half], fours[2 * half + 1]);
        values[4 * half + 1] = interleaveHigh64(fours[2 * half], fours[2 * half + 1]);
        values[4 * half + 2] = interleaveLow64(fours[4 + 2 * half], fours[4 + 2 * half + 1]);
        values[4 * half + 3] = interleaveHigh64(fours[4 + 2 * half], fours[4 + 2 * half + 1]);
    }
}

/// Quantises `values` in place. Returns the bitwise or of all magnitudes, or 0 when none exceeds
/// 127.
template <bool mayBeWide>
inline Vec quantise(Vec (&values)[8], const Quantiser& quantiser) {
    Vec magnitudes = zero();
    for (unsigned i = 0; i < 8; ++i) {
        const Vec biased = add(magnitudeOf(values[i]), load(&quantiser.bias[i]));
        const Vec magnitude =
            shiftRight(multiplyHigh(biased, load(&quantiser.multiplier[i])), quantiser.shift);
        if (mayBeWide) {
            magnitudes = bitOr(magnitudes, magnitude);
        }
        values[i] = signed16(magnitude, values[i]);
    }
    return magnitudes;
}

template <bool mayBeWide>
inline void transformLanes(const std::uint8_t (&samples)[8][4][8], int lane, int block,
                           const Quantiser& quantiser, MacroblockLevels& levels) {
    Vec values[8];
    for (int y = 0; y < 8; ++y) {
        values[y] = loadWidened(samples[y][lane]);
        values[y] = add(values[y], values[y]);
    }
    transformColumns(values);
    transpose(values);
    transformColumns(values);

    storeFirsts(levels.dc + block, shiftRight(add(values[0], broadcast16(8)), 4));

    const Vec magnitudes = quantise<mayBeWide>(values, quantiser);
    const std::uint32_t wide = mayBeWide ? lanesAbove127(magnitudes) : 0;
    if (wide != 0) {
        levels.wide |= wide << block;
        alignas(64) std::int16_t column[8 * kLanes];
        for (int u = 0; u < 8; ++u) {
            store(column, values[u]);
            for (int i = 0; i < kLanes; ++i) {
                std::memcpy(&levels.full[block + i][8 * u], column + 8 * i, 16);
            }
        }
    }
    Vec bytes[4];
    for (int i = 0; i < 4; ++i) {
        bytes[i] = narrowSaturated(values[2 * i], values[2 * i + 1]);
    }
    storeLevels(bytes, block, levels);
}

void transform(const MacroblockSamples& samples, const Quantiser& quantiser,
               MacroblockLevels& levels) {
    levels.wide = 0;
    for (int lane = 0; lane < 4; lane += kLanes) {
        if (quantiser.mayBeWide) {
            transformLanes<true>(samples.luma, lane, lane, quantiser, levels);
            transformLanes<true>(samples.chroma, lane, 4 + lane, quantiser, levels);
        } else {
            transformLanes<false>(samples.luma, lane, lane, quantiser, levels);
            transformLanes<false>(samples.chroma, lane, 4 + lane, quantiser, levels);
        }
    }
}

}  // namespace
}  // namespace speedhq
