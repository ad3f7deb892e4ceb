#pragma once
// The inner loops, one set per instruction set, all with the same results. kernels_reference.cpp
// defines in plain C++ what they compute; the other files vectorise it.

#include <cstddef>
#include <cstdint>

#include "speedhq/bitwriter.h"
#include "speedhq/colour.h"
#include "speedhq/macroblock.h"
#include "speedhq/quantiser.h"
#include "speedhq/tables.h"

namespace speedhq {

struct Kernels {
    const char* name;

    /// Converts `count` macroblocks side by side, 16 lines from `pixels` on, into `samples`, see
    /// colour.h. Sets changed[i] to 1 where the samples differ from the previous ones and to 0
    /// elsewhere. Returns the number of macroblocks that differ.
    int (*convertBgra)(const std::uint8_t* pixels, std::ptrdiff_t stride,
                       const ColourMatrix& matrix, MacroblockSamples* samples, int count,
                       std::uint8_t* changed);

    /// Likewise for pixels that are 4:2:2 already.
    int (*convertUyvy)(const std::uint8_t* pixels, std::ptrdiff_t stride,
                       MacroblockSamples* samples, int count, std::uint8_t* changed);

    /// Transforms and quantises the eight blocks. Fills in all of `levels` except `full` of blocks
    /// that are not wide.
    void (*transform)(const MacroblockSamples& samples, const Quantiser& quantiser,
                      MacroblockLevels& levels);

    /// Appends the macroblock's bits, at most kMaxMacroblockBytes. Returns the predictors for the
    /// next macroblock.
    DcPredictors (*write)(const MacroblockLevels& levels, const CodeTables& codes,
                          DcPredictors predictors, BitWriter& writer);

    /// Appends bits [first, first + count) of the string at `source`.
    void (*append)(BitWriter& writer, const std::uint8_t* source, std::size_t first,
                   std::size_t count);
};

/// 8 blocks of a DC, 63 escapes and an end of block.
inline constexpr std::size_t kMaxMacroblockBytes = 8 * (21 + 63 * 24 + 4) / 8;

enum class KernelLevel { Reference, Sse41, Avx2, Avx512 };

/// The kernels of a level. Null when this build or this processor does not support it. Any thread.
[[nodiscard]] const Kernels* kernelsOf(KernelLevel level);

/// The fastest kernels of this processor. Chosen once; any thread.
[[nodiscard]] const Kernels& bestKernels();

// One per kernels_*.cpp. Use kernelsOf(), which checks for processor support first.
extern const Kernels kReferenceKernels;
extern const Kernels kSse41Kernels;
extern const Kernels kAvx2Kernels;
extern const Kernels kAvx512Kernels;

}  // namespace speedhq
