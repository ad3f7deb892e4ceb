#pragma once
// ndimonitor --list --watch: reports sources as they appear, change and disappear.

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "monitor/browser.h"
#include "monitor/options.h"

namespace monitor {

struct SourceEvent {
    enum class Kind { Appeared, Changed, Disappeared };

    Kind kind = Kind::Appeared;
    FoundSource source;  ///< Without addresses if it disappeared.
};

/// Finds the differences between lists of sources that follow each other. Addresses of a source
/// arrive one by one, so a new or changed source is reported when it has stayed the same for 0.3
/// seconds. Not thread-safe.
class SourceChanges {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    [[nodiscard]] std::vector<SourceEvent> update(const FoundSources& sources, TimePoint now);

private:
    struct Known {
        FoundSource source;
        TimePoint since;  ///< When `source` took its present form.
        bool reported = false;
        bool reportedBefore = false;  ///< In any form.
    };

    std::map<std::string, Known> m_known;
};

/// Prints one line per event on standard output until `interrupted` becomes true.
void watch(const Options& options, const std::atomic<bool>& interrupted);

}  // namespace monitor
