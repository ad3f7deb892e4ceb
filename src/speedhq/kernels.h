#pragma once
// The inner loops, once per processor level, all giving the same bits. kernels_reference.cpp says
// in plain C++ what they compute; the others do it in vectors.

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

    /// Compares one line of `count` macroblocks, each `bytes` (32 or 64) wide, of two frames and
    /// sets changed[i] to 1 where they differ; never clears. Returns how many it set anew.
    int (*markChanged)(const std::uint8_t* a, const std::uint8_t* b, int count, int bytes,
                       std::uint8_t* changed);

    /// Converts the 16 by 16 pixels at `pixels`, see colour.h.
    void (*convertBgra)(const std::uint8_t* pixels, std::ptrdiff_t stride,
                        const ColourMatrix& matrix, MacroblockSamples& samples);

    /// Takes the 16 by 16 pixels at `pixels` apart.
    void (*convertUyvy)(const std::uint8_t* pixels, std::ptrdiff_t stride,
                        MacroblockSamples& samples);

    /// The eight transforms, quantised. Fills everything but `full` of blocks that are not wide.
    void (*transform)(const MacroblockSamples& samples, const Quantiser& quantiser,
                      MacroblockLevels& levels);

    /// Appends the macroblock's bits, at most kMaxMacroblockBytes, and moves the predictors on.
    void (*write)(const MacroblockLevels& levels, const CodeTables& codes, DcPredictors& predictors,
                  BitWriter& writer);
};

/// 8 blocks of a DC, 63 escapes and an end.
inline constexpr std::size_t kMaxMacroblockBytes = 8 * (21 + 63 * 24 + 4) / 8;

enum class KernelLevel { Reference, Sse41, Avx2, Avx512 };

/// The kernels of a level, or null when this build or this processor lacks it. Any thread.
[[nodiscard]] const Kernels* kernelsOf(KernelLevel level);

/// The fastest kernels of this processor. Chosen once; any thread.
[[nodiscard]] const Kernels& bestKernels();

// One per kernels_*.cpp; ask kernelsOf() instead, which looks at the processor first.
extern const Kernels kReferenceKernels;
extern const Kernels kSse41Kernels;
extern const Kernels kAvx2Kernels;
extern const Kernels kAvx512Kernels;

}  // namespace speedhq
