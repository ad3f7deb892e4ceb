#pragma once
// Run/level coding of one macroblock without a branch per block or level, for AVX-512 with VBMI2.
// The number of levels of a block is hard to predict, and a wrong guess costs as much time as
// several levels. So the codes of all blocks are listed first, then looked up and joined 16 at a
// time. Like macroblockwriter.h, which writes the macroblocks with wide levels, it is compiled
// once.

#include "speedhq/macroblockwriter.h"

namespace speedhq {
namespace {

/// An index of CodeTables::packed.
using CodeIndex = std::uint16_t;

/// A DC, up to 63 levels and an end for each of 8 blocks. Vectors are stored and loaded beyond
/// that.
constexpr std::size_t kMostCodes = 8 * 65 + 64;

constexpr auto kBytePositions = [] {
    std::array<std::uint8_t, 64> positions{};
    for (std::size_t i = 0; i < positions.size(); ++i) {
        positions[i] = static_cast<std::uint8_t>(i);
    }
    return positions;
}();

/// Lists the levels and the end of a block. Returns the end of the list.
inline CodeIndex* listLevels(CodeIndex* list, const std::int8_t* levels, std::uint64_t nonZero) {
    const __m512i positions = load(kBytePositions.data());
    const __m512i before = _mm512_sub_epi8(positions, _mm512_set1_epi8(1));
    const __m512i level = _mm512_maskz_compress_epi8(nonZero, load(levels));
    const __m512i position = _mm512_maskz_compress_epi8(nonZero, positions);
    const __m512i previous = _mm512_maskz_permutexvar_epi8(~std::uint64_t{1}, before, position);
    // Behind the last level the position is 0, and the difference, which saturates, as well.
    const __m512i step = _mm512_subs_epu8(position, previous);
    const auto index = [](__m256i low, __m256i high) {
        return _mm512_or_si512(_mm512_cvtepu8_epi16(low),
                               _mm512_slli_epi16(_mm512_cvtepu8_epi16(high), 8));
    };
    store(list, index(_mm512_castsi512_si256(level), _mm512_castsi512_si256(step)));
    const auto count = static_cast<std::size_t>(_mm_popcnt_u64(nonZero));
    if (count >= 32) {
        store(list + 32,
              index(_mm512_extracti64x4_epi64(level, 1), _mm512_extracti64x4_epi64(step, 1)));
    }
    return list + count + 1;
}

/// Lists a block. `dcCodes` is where the DC codes of its component begin, `predicted` the same plus
/// the predictor.
inline CodeIndex* listBlock(CodeIndex* list, const MacroblockLevels& levels, unsigned block,
                            std::size_t dcCodes, std::size_t& predicted) {
    const auto dc = static_cast<std::size_t>(levels.dc[block]);
    *list++ = static_cast<CodeIndex>(kMaxDcDifference + predicted - dc);
    predicted = dcCodes + dc;
    if (levels.nonZero[block] != 0) {
        return listLevels(list, levels.scanned + std::size_t{block} * 64, levels.nonZero[block]);
    }
    *list++ = CodeTables::kEndAt;
    return list;
}

/// A BitWriter in registers, with fewer than 8 bits pending.
struct LocalWriter {
    std::uint8_t* next;
    std::uint64_t pending;
    std::uint64_t count;

    /// At most 56 bits.
    void put(std::uint64_t bits, std::uint64_t length) {
        pending |= bits << count;
        std::memcpy(next, &pending, sizeof pending);
        count += length;
        next += count >> 3;
        pending >>= count & 0x38U;
        count &= 7U;
    }
};

/// Joins four codes to one string where each four have at most 56 bits, else two.
inline void putCodes(LocalWriter& out, __m512i codes) {
    const __m512i lengths = _mm512_and_si512(codes, _mm512_set1_epi32(0xFF));
    const __m512i bits = _mm512_srli_epi32(codes, 8);
    const __m512i firstLength = _mm512_and_si512(lengths, _mm512_set1_epi64(0xFF));
    const __m512i twoBits =
        _mm512_or_si512(_mm512_and_si512(bits, _mm512_set1_epi64(0xFFFFFFFF)),
                        _mm512_sllv_epi64(_mm512_srli_epi64(bits, 32), firstLength));
    const __m512i twoLength = _mm512_add_epi64(firstLength, _mm512_srli_epi64(lengths, 32));
    const __m512i fourBits = _mm512_or_si512(
        twoBits, _mm512_sllv_epi64(_mm512_unpackhi_epi64(twoBits, twoBits), twoLength));
    const __m512i fourLength =
        _mm512_add_epi64(twoLength, _mm512_unpackhi_epi64(twoLength, twoLength));
    alignas(64) std::uint64_t strings[8];
    alignas(64) std::uint64_t stringLengths[8];
    const bool fours = (_mm512_cmpgt_epu64_mask(fourLength, _mm512_set1_epi64(56)) & 0x55U) == 0;
    store(strings, fours ? fourBits : twoBits);
    store(stringLengths, fours ? fourLength : twoLength);
    if (fours) {
        for (int i = 0; i < 8; i += 2) {
            out.put(strings[i], stringLengths[i]);
        }
    } else {
        for (int i = 0; i < 8; ++i) {
            out.put(strings[i], stringLengths[i]);
        }
    }
}

DcPredictors writeMacroblockByVectors(const MacroblockLevels& levels, const CodeTables& codes,
                                      DcPredictors predictors, BitWriter& writer) {
    if (levels.wide != 0) {
        return writeMacroblock(levels, codes, predictors, writer);
    }
    alignas(64) CodeIndex list[kMostCodes];
    CodeIndex* end = list;
    std::size_t y = CodeTables::kLumaDcAt + static_cast<std::size_t>(predictors.y);
    std::size_t cb = CodeTables::kChromaDcAt + static_cast<std::size_t>(predictors.cb);
    std::size_t cr = CodeTables::kChromaDcAt + static_cast<std::size_t>(predictors.cr);
    for (unsigned block = 0; block < 4; ++block) {
        end = listBlock(end, levels, block, CodeTables::kLumaDcAt, y);
    }
    for (unsigned block = 4; block < 8; block += 2) {
        end = listBlock(end, levels, block, CodeTables::kChromaDcAt, cb);
        end = listBlock(end, levels, block + 1, CodeTables::kChromaDcAt, cr);
    }

    LocalWriter out{writer.next, writer.pending, writer.pendingCount};
    const CodeIndex* at = list;
    for (; end - at >= 16; at += 16) {
        const __m512i indices =
            _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)));
        putCodes(out, _mm512_i32gather_epi32(indices, codes.packed.data(), 4));
    }
    const auto rest = static_cast<__mmask16>((1U << (end - at)) - 1U);
    const __m512i indices =
        _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)));
    putCodes(out, _mm512_mask_i32gather_epi32(zero(), rest, indices, codes.packed.data(), 4));
    writer.next = out.next;
    writer.pending = out.pending;
    writer.pendingCount = static_cast<unsigned>(out.count);
    return {levels.dc[3], levels.dc[6], levels.dc[7]};
}

}  // namespace
}  // namespace speedhq
