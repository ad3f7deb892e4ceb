#pragma once
// Turns what the command line names into sources to list or to receive from.

#include <atomic>
#include <vector>

#include "monitor/browser.h"
#include "monitor/options.h"
#include "monitor/receiver.h"

namespace monitor {

/// Every source found within options.waitSeconds. Prints to standard error if there is none.
[[nodiscard]] FoundSources findAll(const Options& options, const std::atomic<bool>& interrupted);

/// What to receive from: the source at --address, the source with the name given, or every source.
/// Empty if there is none or the name is ambiguous; standard error says which.
[[nodiscard]] std::vector<Target> findTargets(const Options& options,
                                              const std::atomic<bool>& interrupted);

}  // namespace monitor
