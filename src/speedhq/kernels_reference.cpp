// The reference implementation of the kernels, in plain C++.

#include <cstdlib>
#include <cstring>

#include "speedhq/kernels.h"
#include "speedhq/macroblockwriter.h"

namespace speedhq {

namespace {

int markChanged(const std::uint8_t* a, const std::uint8_t* b, int count, int bytes,
                std::uint8_t* changed) {
    int marked = 0;
    for (int i = 0; i < count; ++i, a += bytes, b += bytes) {
        if (changed[i] == 0 && std::memcmp(a, b, static_cast<std::size_t>(bytes)) != 0) {
            changed[i] = 1;
            ++marked;
        }
    }
    return marked;
}

std::int16_t narrow(int value) {
    return static_cast<std::int16_t>(value);
}

int weigh(const ColourRow& row, int blue, int green, int red) {
    return row.blue * blue + row.green * green + row.red * red;
}

void convertBgra(const std::uint8_t* pixels, std::ptrdiff_t stride, const ColourMatrix& matrix,
                 MacroblockSamples& samples) {
    for (int line = 0; line < 16; ++line, pixels += stride) {
        auto* const luma = samples.luma[line % 8][line / 8 * 2];
        auto* const chroma = samples.chroma[line % 8];
        for (int x = 0; x < 16; x += 2) {
            const std::uint8_t* const p = pixels + 4 * x;
            const std::uint8_t* const q = p + 4;
            constexpr int kHalf = 1 << 14;
            luma[x] = narrow(16 - 128 + ((weigh(matrix.y, p[0], p[1], p[2]) + kHalf) >> 15));
            luma[x + 1] = narrow(16 - 128 + ((weigh(matrix.y, q[0], q[1], q[2]) + kHalf) >> 15));
            const int blue = p[0] + q[0];
            const int green = p[1] + q[1];
            const int red = p[2] + q[2];
            chroma[line / 8 * 2][x / 2] =
                narrow((weigh(matrix.cb, blue, green, red) + 2 * kHalf) >> 16);
            chroma[line / 8 * 2 + 1][x / 2] =
                narrow((weigh(matrix.cr, blue, green, red) + 2 * kHalf) >> 16);
        }
    }
}

void convertUyvy(const std::uint8_t* pixels, std::ptrdiff_t stride, MacroblockSamples& samples) {
    for (int line = 0; line < 16; ++line, pixels += stride) {
        auto* const luma = samples.luma[line % 8][line / 8 * 2];
        auto* const chroma = samples.chroma[line % 8];
        for (int x = 0; x < 8; ++x) {
            chroma[line / 8 * 2][x] = narrow(pixels[4 * x] - 128);
            luma[2 * x] = narrow(pixels[4 * x + 1] - 128);
            chroma[line / 8 * 2 + 1][x] = narrow(pixels[4 * x + 2] - 128);
            luma[2 * x + 1] = narrow(pixels[4 * x + 3] - 128);
        }
    }
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

void transformBlock(const std::int16_t (&samples)[8][4][8], int lane, int block,
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

    levels.dc[block] = narrow(1024 + ((values[0] + 8) >> 4));
    levels.nonZero[block] = 0;
    for (std::size_t i = 0; i < 64; ++i) {
        values[i] =
            quantise(values[i], quantiser.bias[i], quantiser.multiplier[i], quantiser.shift);
    }
    for (unsigned position = 0; position < 64; ++position) {
        const int level = values[kScan[position]];
        const int cut = level < -128 ? -128 : level > 127 ? 127 : level;
        levels.scanned[block][position] = static_cast<std::int8_t>(cut);
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

const Kernels kReferenceKernels = {"reference", markChanged, convertBgra,
                                   convertUyvy, transform,   writeMacroblock};

}  // namespace speedhq
