#include "speedhq/tables.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace speedhq {

constexpr std::array<std::uint8_t, 64> kScan = {
    0,  8,  1,  2,  9,  16, 24, 17, 10, 3,  4,  11, 18, 25, 32, 40, 33, 26, 19, 12, 5,  6,
    13, 20, 27, 34, 41, 48, 56, 49, 42, 35, 28, 21, 14, 7,  15, 22, 29, 36, 43, 50, 57, 58,
    51, 44, 37, 30, 23, 31, 38, 45, 52, 59, 60, 53, 46, 39, 47, 54, 61, 62, 55, 63};

const std::array<std::uint8_t, 64> kWeights = {
    16, 16, 19, 22, 22, 26, 26, 27, 16, 16, 22, 22, 26, 27, 27, 29, 19, 22, 26, 26, 27, 29,
    29, 35, 22, 24, 27, 27, 29, 32, 34, 38, 26, 27, 29, 29, 32, 35, 38, 46, 27, 29, 34, 34,
    35, 40, 46, 56, 29, 34, 34, 37, 40, 48, 56, 69, 34, 37, 38, 40, 48, 58, 69, 83};

namespace {

constexpr ScanShuffles shufflesOfScan() {
    ScanShuffles shuffles{};
    for (std::size_t position = 0; position < 64; ++position) {
        for (std::size_t source = 0; source < 4; ++source) {
            const bool here = kScan[position] / 16 == source;
            for (std::size_t lane = 0; lane < 64; lane += 16) {
                shuffles[position / 16][source][lane + position % 16] =
                    static_cast<std::uint8_t>(here ? kScan[position] % 16 : 0x80);
            }
        }
    }
    return shuffles;
}

/// The code of a run of zeros and the magnitude of the level after it, in transmission order.
struct RunLevelCode {
    unsigned run;
    int level;
    std::string_view bits;
};

constexpr RunLevelCode kRunLevelCodes[] = {{0, 1, "10"},
                                           {0, 2, "110"},
                                           {0, 3, "0111"},
                                           {0, 4, "11100"},
                                           {0, 5, "11101"},
                                           {0, 6, "000101"},
                                           {0, 7, "000100"},
                                           {0, 8, "1111011"},
                                           {0, 9, "1111100"},
                                           {0, 10, "00100011"},
                                           {0, 11, "00100010"},
                                           {0, 12, "11111010"},
                                           {0, 13, "11111011"},
                                           {0, 14, "11111110"},
                                           {0, 15, "11111111"},
                                           {0, 16, "00000000011111"},
                                           {0, 17, "00000000011110"},
                                           {0, 18, "00000000011101"},
                                           {0, 19, "00000000011100"},
                                           {0, 20, "00000000011011"},
                                           {0, 21, "00000000011010"},
                                           {0, 22, "00000000011001"},
                                           {0, 23, "00000000011000"},
                                           {0, 24, "00000000010111"},
                                           {0, 25, "00000000010110"},
                                           {0, 26, "00000000010101"},
                                           {0, 27, "00000000010100"},
                                           {0, 28, "00000000010011"},
                                           {0, 29, "00000000010010"},
                                           {0, 30, "00000000010001"},
                                           {0, 31, "00000000010000"},
                                           {0, 32, "000000000011000"},
                                           {0, 33, "000000000010111"},
                                           {0, 34, "000000000010110"},
                                           {0, 35, "000000000010101"},
                                           {0, 36, "000000000010100"},
                                           {0, 37, "000000000010011"},
                                           {0, 38, "000000000010010"},
                                           {0, 39, "000000000010001"},
                                           {0, 40, "000000000010000"},
                                           {1, 1, "010"},
                                           {1, 2, "00110"},
                                           {1, 3, "1111001"},
                                           {1, 4, "00100111"},
                                           {1, 5, "00100000"},
                                           {1, 6, "0000000010110"},
                                           {1, 7, "0000000010101"},
                                           {1, 8, "000000000011111"},
                                           {1, 9, "000000000011110"},
                                           {1, 10, "000000000011101"},
                                           {1, 11, "000000000011100"},
                                           {1, 12, "000000000011011"},
                                           {1, 13, "000000000011010"},
                                           {1, 14, "000000000011001"},
                                           {1, 15, "0000000000010011"},
                                           {1, 16, "0000000000010010"},
                                           {1, 17, "0000000000010001"},
                                           {1, 18, "0000000000010000"},
                                           {1, 19, "0000000011000"},
                                           {1, 20, "0000000010111"},
                                           {2, 1, "00101"},
                                           {2, 2, "0000111"},
                                           {2, 3, "11111100"},
                                           {2, 4, "0000001100"},
                                           {2, 5, "0000000010100"},
                                           {2, 6, "000000011000"},
                                           {2, 7, "000000010100"},
                                           {2, 8, "000000010011"},
                                           {2, 9, "000000010000"},
                                           {2, 10, "0000000011010"},
                                           {2, 11, "0000000011001"},
                                           {3, 1, "00111"},
                                           {3, 2, "00100110"},
                                           {3, 3, "000000011100"},
                                           {3, 4, "0000000010011"},
                                           {3, 5, "000000011011"},
                                           {4, 1, "000110"},
                                           {4, 2, "11111101"},
                                           {4, 3, "000000010010"},
                                           {4, 4, "000000011101"},
                                           {5, 1, "000111"},
                                           {5, 2, "000000100"},
                                           {5, 3, "0000000010010"},
                                           {6, 1, "0000110"},
                                           {6, 2, "000000011110"},
                                           {6, 3, "0000000000010100"},
                                           {7, 1, "0000100"},
                                           {7, 2, "000000010101"},
                                           {8, 1, "0000101"},
                                           {8, 2, "000000010001"},
                                           {9, 1, "1111000"},
                                           {9, 2, "0000000010001"},
                                           {10, 1, "1111010"},
                                           {10, 2, "0000000010000"},
                                           {11, 1, "00100001"},
                                           {11, 2, "0000000000011010"},
                                           {12, 1, "00100101"},
                                           {12, 2, "0000000000011001"},
                                           {13, 1, "00100100"},
                                           {13, 2, "0000000000011000"},
                                           {14, 1, "000000101"},
                                           {14, 2, "0000000000010111"},
                                           {15, 1, "000000111"},
                                           {15, 2, "0000000000010110"},
                                           {16, 1, "0000001101"},
                                           {16, 2, "0000000000010101"},
                                           {17, 1, "000000011111"},
                                           {18, 1, "000000011010"},
                                           {19, 1, "000000011001"},
                                           {20, 1, "000000010111"},
                                           {21, 1, "000000010110"},
                                           {22, 1, "0000000011111"},
                                           {23, 1, "0000000011110"},
                                           {24, 1, "0000000011101"},
                                           {25, 1, "0000000011100"},
                                           {26, 1, "0000000011011"},
                                           {27, 1, "0000000000011111"},
                                           {28, 1, "0000000000011110"},
                                           {29, 1, "0000000000011101"},
                                           {30, 1, "0000000000011100"},
                                           {31, 1, "0000000000011011"}};

/// The prefix codes of DC sizes, in transmission order.
constexpr std::string_view kLumaDcSizes[] = {"100",     "00",       "01",        "101",
                                             "110",     "1110",     "11110",     "111110",
                                             "1111110", "11111110", "111111110", "111111111"};
constexpr std::string_view kChromaDcSizes[] = {"00",       "01",        "10",         "110",
                                               "1110",     "11110",     "111110",     "1111110",
                                               "11111110", "111111110", "1111111110", "1111111111"};

Code parse(std::string_view bits) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bits.size(); ++i) {
        value |= static_cast<std::uint32_t>(bits[i] == '1') << i;
    }
    return makeCode(value, static_cast<unsigned>(bits.size()));
}

Code append(Code code, std::uint64_t bits, unsigned length) {
    return makeCode(codeBits(code) | (bits << codeLength(code)), codeLength(code) + length);
}

template <std::size_t sizes>
Code dcCode(const std::string_view (&sizeCodes)[sizes], int difference) {
    unsigned size = 0;
    while ((std::abs(difference) >> size) != 0) {
        ++size;
    }
    // Negative differences are sent minus one, which clears the top bit of the `size` bits.
    const int sent = difference < 0 ? difference + (1 << size) - 1 : difference;
    return append(parse(sizeCodes[size]), static_cast<std::uint32_t>(sent), size);
}

void packAll(CodeTables& tables) {
    const auto pack = [](Code code) {
        return static_cast<std::uint32_t>(codeBits(code) << 8 | codeLength(code));
    };
    for (std::size_t i = 0; i < tables.ac.size(); ++i) {
        tables.packed[i ^ 128U] = pack(tables.ac[i]);
    }
    tables.packed[CodeTables::kEndAt] = pack(kEndOfBlock);
    std::transform(tables.lumaDc.begin(), tables.lumaDc.end(),
                   tables.packed.begin() + CodeTables::kLumaDcAt, pack);
    std::transform(tables.chromaDc.begin(), tables.chromaDc.end(),
                   tables.packed.begin() + CodeTables::kChromaDcAt, pack);
}

CodeTables build() {
    CodeTables tables{};
    for (int i = 0; i <= 2 * kMaxDcDifference; ++i) {
        const auto index = static_cast<std::size_t>(i);
        tables.lumaDc[index] = dcCode(kLumaDcSizes, i - kMaxDcDifference);
        tables.chromaDc[index] = dcCode(kChromaDcSizes, i - kMaxDcDifference);
    }
    for (unsigned run = 0; run < 64; ++run) {
        for (int level = -128; level < 128; ++level) {
            tables.ac[256 * (run + 1) + static_cast<unsigned>(128 + level)] =
                level == 0 ? kEndOfBlock : escapeCode(run, level);
        }
    }
    for (const RunLevelCode& entry : kRunLevelCodes) {
        const Code code = parse(entry.bits);
        Code* const zero = &tables.ac[256 * (entry.run + 1) + 128];
        zero[entry.level] = append(code, 0, 1);
        zero[-entry.level] = append(code, 1, 1);
    }
    packAll(tables);
    return tables;
}

}  // namespace

const ScanShuffles kScanShuffles = shufflesOfScan();

const CodeTables& codeTables() {
    static const CodeTables tables = build();
    return tables;
}

}  // namespace speedhq
