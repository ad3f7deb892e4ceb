#include "speedhq/cores.h"

#include <windows.h>

#include <algorithm>
#include <vector>

namespace speedhq {

int physicalCores() {
    DWORD bytes = 0;
    GetLogicalProcessorInformation(nullptr, &bytes);
    std::vector<SYSTEM_LOGICAL_PROCESSOR_INFORMATION> processors(
        bytes / sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION));
    if (processors.empty() || GetLogicalProcessorInformation(processors.data(), &bytes) == 0) {
        return 1;
    }
    const auto cores = std::count_if(processors.begin(), processors.end(),
                                     [](const SYSTEM_LOGICAL_PROCESSOR_INFORMATION& p) {
                                         return p.Relationship == RelationProcessorCore;
                                     });
    return std::max(1, static_cast<int>(cores));
}

}  // namespace speedhq
