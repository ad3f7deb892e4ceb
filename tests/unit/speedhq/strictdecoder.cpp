#include "unit/speedhq/strictdecoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

#include "ndi/speedhq/tables.h"

namespace testing_support {

namespace {

using speedhq::Code;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what);
}

class BitReader {
public:
    BitReader(const std::uint8_t* bytes, std::size_t count) : m_bytes(bytes), m_bits(count * 8) {}

    unsigned bit() {
        if (m_at == m_bits) {
            fail("bits end early");
        }
        const unsigned value = m_bytes[m_at / 8] >> (m_at % 8) & 1U;
        ++m_at;
        return value;
    }
    unsigned bits(unsigned count) {
        unsigned value = 0;
        for (unsigned i = 0; i < count; ++i) {
            value |= bit() << i;
        }
        return value;
    }
    void expectEnd() {
        if (m_bits - m_at >= 8) {
            fail("bytes left behind the last macroblock");
        }
        while (m_at < m_bits) {
            if (bit() != 0) {
                fail("padding is not zero");
            }
        }
    }

private:
    const std::uint8_t* m_bytes;
    std::size_t m_bits;
    std::size_t m_at = 0;
};

/// Reads prefix codes: from (bits, length) to a meaning.
class PrefixCodes {
public:
    void insert(Code code, int meaning) { m_meanings[code] = meaning; }
    int read(BitReader& reader) const {
        std::uint32_t bits = 0;
        for (unsigned length = 1; length <= 24; ++length) {
            bits |= reader.bit() << (length - 1);
            const auto found = m_meanings.find(speedhq::makeCode(bits, length));
            if (found != m_meanings.end()) {
                return found->second;
            }
        }
        fail("a code that does not exist");
    }

private:
    std::map<Code, int> m_meanings;
};

constexpr int kEnd = -1;
constexpr int kEscape = -2;

struct Meanings {
    PrefixCodes ac;  ///< 256 * run + 128 + level, or kEnd, or kEscape.
    PrefixCodes lumaDc;
    PrefixCodes chromaDc;

    Meanings() {
        const speedhq::CodeTables& codes = speedhq::codeTables();
        for (int i = 0; i < 64 * 256; ++i) {
            const Code code = codes.ac[static_cast<std::size_t>(i)];
            if (speedhq::codeLength(code) != 24) {
                ac.insert(code, i);
            }
        }
        ac.insert(speedhq::kEndOfBlock, kEnd);
        ac.insert(speedhq::makeCode(0x20, 6), kEscape);
        for (int d = -speedhq::kMaxDcDifference; d <= speedhq::kMaxDcDifference; ++d) {
            const auto index = static_cast<std::size_t>(d + speedhq::kMaxDcDifference);
            lumaDc.insert(codes.lumaDc[index], d);
            chromaDc.insert(codes.chromaDc[index], d);
        }
    }
};

/// Coefficients, stored transposed, to samples; exact.
std::array<std::uint8_t, 64> inverse(const std::array<int, 64>& coefficients) {
    static const auto basis = [] {
        std::array<std::array<double, 8>, 8> table{};
        for (std::size_t k = 0; k < 8; ++k) {
            for (std::size_t x = 0; x < 8; ++x) {
                const double angle = static_cast<double>((2 * x + 1) * k) * std::acos(-1.0) / 16;
                table[k][x] = (k == 0 ? std::sqrt(0.125) : 0.5) * std::cos(angle);
            }
        }
        return table;
    }();
    std::array<std::array<double, 8>, 8> columns{};  // [u][y]
    for (std::size_t u = 0; u < 8; ++u) {
        for (std::size_t y = 0; y < 8; ++y) {
            for (std::size_t v = 0; v < 8; ++v) {
                columns[u][y] += coefficients[8 * u + v] * basis[v][y];
            }
        }
    }
    std::array<std::uint8_t, 64> samples{};
    for (std::size_t y = 0; y < 8; ++y) {
        for (std::size_t x = 0; x < 8; ++x) {
            double sum = 0;
            for (std::size_t u = 0; u < 8; ++u) {
                sum += columns[u][y] * basis[u][x];
            }
            samples[8 * y + x] =
                static_cast<std::uint8_t>(std::clamp(static_cast<int>(std::lround(sum)), 0, 255));
        }
    }
    return samples;
}

std::array<std::uint8_t, 64> readBlock(BitReader& reader, const PrefixCodes& dcCodes,
                                       const PrefixCodes& acCodes, int& predictor, int scale) {
    std::array<int, 64> coefficients{};
    predictor -= dcCodes.read(reader);
    if (predictor < 0 || predictor > 2040) {
        fail("a DC out of range");
    }
    coefficients[0] = predictor;
    for (unsigned position = 0;;) {
        const int meaning = acCodes.read(reader);
        if (meaning == kEnd) {
            break;
        }
        unsigned run = static_cast<unsigned>(meaning) / 256;
        int level = meaning % 256 - 128;
        if (meaning == kEscape) {
            run = reader.bits(6);
            level = static_cast<int>(reader.bits(12)) - 2048;
        }
        position += run + 1;
        if (position > 63 || level == 0) {
            fail("a level that is 0 or beyond the block");
        }
        const std::size_t index = speedhq::kScan[position];
        // Rounds towards minus infinity, as receivers do.
        coefficients[index] = level * speedhq::kWeights[index] * scale >> 4;
    }
    return inverse(coefficients);
}

struct PaddedPlane {
    std::size_t stride;
    std::vector<std::uint8_t> samples;

    void place(const std::array<std::uint8_t, 64>& block, std::size_t x, std::size_t y) {
        for (std::size_t line = 0; line < 8; ++line) {
            std::copy_n(&block[8 * line], 8, &samples[(y + line) * stride + x]);
        }
    }
    [[nodiscard]] std::vector<std::uint8_t> cut(int lines) const {
        return {samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(stride) * lines};
    }
};

}  // namespace

Planes decodeStrictly(const std::uint8_t* packet, std::size_t size, int width, int height) {
    static const Meanings meanings;
    const auto length3 = [&](std::size_t at) {
        if (at + 3 > size) {
            fail("a length beyond the packet");
        }
        return static_cast<std::size_t>(packet[at] | packet[at + 1] << 8 | packet[at + 2] << 16);
    };
    if (size < 16 || length3(1) != 4 || packet[0] >= 100 || width % 16 != 0) {
        fail("not a packet with one field");
    }
    const int scale = 100 - packet[0];
    const auto columns = static_cast<std::size_t>(width) / 16;
    const auto rows = (static_cast<std::size_t>(height) + 15) / 16;
    PaddedPlane y{columns * 16, std::vector<std::uint8_t>(columns * rows * 256)};
    PaddedPlane cb{columns * 8, std::vector<std::uint8_t>(columns * rows * 128)};
    PaddedPlane cr = cb;

    std::size_t at = 4;
    for (std::size_t slice = 0; slice < 4; ++slice) {
        const std::size_t length = length3(at);
        if (length < 3 || at + length > size) {
            fail("a slice beyond the packet");
        }
        BitReader reader(packet + at + 3, length - 3);
        for (std::size_t row = slice; row < rows; row += 4) {
            int dcY = 1024;
            int dcCb = 1024;
            int dcCr = 1024;
            for (std::size_t column = 0; column < columns; ++column) {
                for (std::size_t block = 0; block < 4; ++block) {
                    y.place(readBlock(reader, meanings.lumaDc, meanings.ac, dcY, scale),
                            16 * column + block % 2 * 8, 16 * row + block / 2 * 8);
                }
                for (std::size_t half = 0; half < 2; ++half) {
                    const std::size_t line = 16 * row + 8 * half;
                    cb.place(readBlock(reader, meanings.chromaDc, meanings.ac, dcCb, scale),
                             8 * column, line);
                    cr.place(readBlock(reader, meanings.chromaDc, meanings.ac, dcCr, scale),
                             8 * column, line);
                }
            }
        }
        reader.expectEnd();
        at += length;
    }
    if (at != size) {
        fail("the slices do not end with the packet");
    }
    return {width, height, y.cut(height), cb.cut(height), cr.cut(height)};
}

}  // namespace testing_support
