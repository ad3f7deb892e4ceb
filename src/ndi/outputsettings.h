#pragma once
// How the built-in output publishes its sources.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ndi {

struct OutputSettings {
    /// Called after a change of a source's status, counters excepted, on a thread of the source's,
    /// ten times a second at most. Must not block. Not called for a source that is destroyed. May
    /// be empty.
    std::function<void()> onStatusChange;
};

}  // namespace ndi
