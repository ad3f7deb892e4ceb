// The reference implementation of the kernels, in plain C++.

#include <cstdlib>
#include <cstring>

#include "speedhq/kernels.h"

namespace speedhq {

namespace {

inline std::uint64_t trailingZeros(std::uint64_t bits) {
    return bits == 0 ? 64 : static_cast<std::uint64_t>(__builtin_ctzll(bits));
}

}  // namespace

}  // namespace speedhq

#include "speedhq/bitcopy.h"
#include "speedhq/macroblockwriter.h"

namespace speedhq {

namespace {

std::int16_t narrow(int value) {
    return static_cast<std::int16_t>(value);
}

int weigh(const ColourRow& row, int blue, int green, int red) {
    return row.blue * blue + row.green * green + row.red * red;
}

/// A sample. The matrices of colour.h give no value outside 16 to 240.
std::uint8_t sample(int value) {
    return static_cast<std::uint8_t>(value);
}

void convertBgra(const std::uint8_t* pixels, std::ptrdiff_t stride, const ColourMatrix& matrix,
                 MacroblockSamples& samples) {
    for (int line = 0; line < 16; ++line, pixels += stride) {
        std::uint8_t* const luma = samples.lumaLine(line);
        std::uint8_t* const chroma = samples.chromaLine(line);
        for (int x = 0; x < 16; x += 2) {
            const std::uint8_t* const p = pixels + 4 * x;
            const std::uint8_t* const q = p + 4;
            constexpr int kHalf = 1 << 14;
            luma[x] = sample(16 + ((weigh(matrix.y, p[0], p[1], p[2]) + kHalf) >> 15));
            luma[x + 1] = sample(16 + ((weigh(matrix.y, q[0], q[1], q[2]) + kHalf) >> 15));
            const int blue = p[0] + q[0];
            const int green = p[1] + q[1];
            const int red = p[2] + q[2];
            chroma[x / 2] = sample(128 + ((weigh(matrix.cb, blue, green, red) + 2 * kHalf) >> 16));
            chroma[8 + x / 2] =
                sample(128 + ((weigh(matrix.cr, blue, green, red) + 2 * kHalf) >> 16));
        }
    }
}

void convertUyvy(const std::uint8_t* pixels, std::ptrdiff_t stride, MacroblockSamples& samples) {
    for (int line = 0; line < 16; ++line, pixels += stride) {
        std::uint8_t* const luma = samples.lumaLine(line);
        std::uint8_t* const chroma = samples.chromaLine(line);
        for (int x = 0; x < 8; ++x) {
            chroma[x] = pixels[4 * x];
            luma[2 * x] = pixels[4 * x + 1];
            chroma[8 + x] = pixels[4 * x + 2];
            luma[2 * x + 1] = pixels[4 * x + 3];
        }
    }
}

/// `convert(samples, i)` converts macroblock i.
template <typename Convert>
int convertRun(MacroblockSamples* samples, int count, std::uint8_t* changed, Convert convert) {
    int differing = 0;
    for (int i = 0; i < count; ++i) {
        const MacroblockSamples previous = samples[i];
        convert(samples[i], i);
        changed[i] = std::memcmp(&previous, &samples[i], sizeof previous) != 0 ? 1 : 0;
        differing += changed[i];
    }
    return differing;
}

int convertBgraRun(const std::uint8_t* pixels, std::ptrdiff_t stride, const ColourMatrix& matrix,
                   MacroblockSamples* samples, int count, std::uint8_t* changed) {
    return convertRun(samples, count, changed, [&](MacroblockSamples& to, int i) {
        convertBgra(pixels + std::ptrdiff_t{64} * i, stride, matrix, to);
    });
}

int convertUyvyRun(const std::uint8_t* pixels, std::ptrdiff_t stride, MacroblockSamples* samples,
                   int count, std::uint8_t* changed) {
    return convertRun(samples, count, changed, [&](MacroblockSamples& to, int i) {
        convertUyvy(pixels + std::ptrdiff_t{32} * i, stride, to);
    });
}

/// a * factor / 2^15, rounded to nearest, halves up.
std::int16_t scale(std::int16_t a, int factor) {
    return narrow((a * factor + (1 << 14)) >> 15);
}

/// Transforms eight values, `step` apart, in place: the fast DCT of Arai, Agui and Nakajima, whose
/// outputs are scaled by s(k) (see quantiser.h) and sqrt(8). Sums wrap at 16 bits; those of real
/// samples fit.
void transformLine(std::int16_t* values, int step) {
    constexpr int kCos4 = 23170;          // cos(4 pi / 16)
    constexpr int kCos6 = 12540;          // cos(6 pi / 16)
    constexpr int kCos2LessCos6 = 17734;  // cos(2 pi / 16) - cos(6 pi / 16)
    constexpr int kCos2AndCos6 = 10045;   // cos(2 pi / 16) + cos(6 pi / 16) - 1
    std::int16_t sum[4];
    std::int16_t difference[4];
    for (int i = 0; i < 4; ++i) {
        sum[i] = narrow(values[i * step] + values[(7 - i) * step]);
        difference[i] = narrow(values[i * step] - values[(7 - i) * step]);
    }

    const std::int16_t outer = narrow(sum[0] + sum[3]);
    const std::int16_t inner = narrow(sum[1] + sum[2]);
    const std::int16_t outerTilt = narrow(sum[0] - sum[3]);
    const std::int16_t tilt = scale(narrow(sum[1] - sum[2] + outerTilt), kCos4);
    values[0] = narrow(outer + inner);
    values[4 * step] = narrow(outer - inner);
    values[2 * step] = narrow(outerTilt + tilt);
    values[6 * step] = narrow(outerTilt - tilt);

    const std::int16_t a = narrow(difference[3] + difference[2]);
    const std::int16_t b = narrow(difference[2] + difference[1]);
    const std::int16_t c = narrow(difference[1] + difference[0]);
    const std::int16_t shared = scale(narrow(a - c), kCos6);
    const std::int16_t fromA = narrow(scale(a, kCos2LessCos6) + shared);
    const std::int16_t fromC = narrow(c + scale(c, kCos2AndCos6) + shared);
    const std::int16_t fromB = scale(b, kCos4);
    const std::int16_t plus = narrow(difference[0] + fromB);
    const std::int16_t minus = narrow(difference[0] - fromB);
    values[5 * step] = narrow(minus + fromA);
    values[3 * step] = narrow(minus - fromA);
    values[1 * step] = narrow(plus + fromC);
    values[7 * step] = narrow(plus - fromC);
}

std::int16_t quantise(std::int16_t coefficient, unsigned bias, unsigned multiplier, int shift) {
    const unsigned magnitude = static_cast<unsigned>(std::abs(coefficient)) + bias;
    const auto level = static_cast<int>(((magnitude * multiplier) >> 16) >> shift);
    return narrow(coefficient < 0 ? -level : level);
}

void transformBlock(const std::uint8_t (&samples)[8][4][8], int lane, int block,
                    const Quantiser& quantiser, MacroblockLevels& levels) {
    std::int16_t* const values = levels.full[block];
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            values[8 * x + y] = narrow(2 * samples[y][lane][x]);
        }
    }
    for (int x = 0; x < 8; ++x) {
        transformLine(values + 8 * x, 1);
    }
    for (int v = 0; v < 8; ++v) {
        transformLine(values + v, 8);
    }

    levels.dc[block] = narrow((values[0] + 8) >> 4);
    levels.nonZero[block] = 0;
    for (std::size_t i = 0; i < 64; ++i) {
        values[i] = quantise(values[i], quantiser.bias[i / 8][0][i % 8],
                             quantiser.multiplier[i / 8][0][i % 8], quantiser.shift);
    }
    for (unsigned position = 0; position < 64; ++position) {
        const int level = values[kScan[position]];
        const int cut = level < -128 ? -128 : level > 127 ? 127 : level;
        levels.scanned[static_cast<unsigned>(block) * 64 + position] =
            static_cast<std::int8_t>(cut);
        levels.nonZero[block] |= static_cast<std::uint64_t>(level != 0) << position;
        levels.wide |= static_cast<std::uint32_t>(std::abs(level) > 127) << block;
    }
}

void transform(const MacroblockSamples& samples, const Quantiser& quantiser,
               MacroblockLevels& levels) {
    levels.wide = 0;
    for (int lane = 0; lane < 4; ++lane) {
        transformBlock(samples.luma, lane, lane, quantiser, levels);
        transformBlock(samples.chroma, lane, 4 + lane, quantiser, levels);
    }
}

}  // namespace

const Kernels kReferenceKernels = {"reference", convertBgraRun,  convertUyvyRun,
                                   transform,   writeMacroblock, appendBits};

}  // namespace speedhq
