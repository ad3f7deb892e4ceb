#include "speedhq/kernels.h"

namespace speedhq {

#if defined(SPEEDHQ_X86)

// __builtin_cpu_supports() also checks that the operating system saves the wide registers.
const Kernels* kernelsOf(KernelLevel level) {
    switch (level) {
        case KernelLevel::Reference:
            return &kReferenceKernels;
        case KernelLevel::Sse41:
            return __builtin_cpu_supports("sse4.1") ? &kSse41Kernels : nullptr;
        case KernelLevel::Avx2:
            return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                           __builtin_cpu_supports("bmi2")
                       ? &kAvx2Kernels
                       : nullptr;
        case KernelLevel::Avx512:
            return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                           __builtin_cpu_supports("avx512vl") &&
                           __builtin_cpu_supports("avx512dq") &&
                           __builtin_cpu_supports("avx512vbmi") &&
                           __builtin_cpu_supports("avx512vbmi2") &&
                           __builtin_cpu_supports("popcnt") && __builtin_cpu_supports("bmi") &&
                           __builtin_cpu_supports("bmi2")
                       ? &kAvx512Kernels
                       : nullptr;
    }
    return nullptr;
}

#else

const Kernels* kernelsOf(KernelLevel level) {
    return level == KernelLevel::Reference ? &kReferenceKernels : nullptr;
}

#endif

const Kernels& bestKernels() {
    static const Kernels* const best = [] {
        for (const KernelLevel level :
             {KernelLevel::Avx512, KernelLevel::Avx2, KernelLevel::Sse41}) {
            if (const Kernels* const kernels = kernelsOf(level)) {
                return kernels;
            }
        }
        return &kReferenceKernels;
    }();
    return *best;
}

}  // namespace speedhq
