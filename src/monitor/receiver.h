#pragma once
// Receives from one source until everything asked for has arrived.

#include <asio/ip/tcp.hpp>
#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "monitor/options.h"
#include "monitor/reception.h"

namespace monitor {

struct Target {
    std::string name;  ///< As messages and the report call it.
    std::vector<asio::ip::tcp::endpoint> endpoints;
};

/// Called with one line for the user whenever the source's format or tally changes. On receive()'s
/// thread.
using Tell = std::function<void(const std::string& line)>;

/// How a reception is going, over the last two seconds.
struct Progress {
    std::optional<ndi::wire::VideoInfo> video;  ///< Of the last frame.
    double framesPerSecond = 0;
    double megabitsPerSecond = 0;
    std::uint64_t dropped = 0;  ///< See droppedFrames(); since the connection was made.
};

/// Frames late, lost or damaged.
[[nodiscard]] std::uint64_t droppedFrames(const Statistics& statistics);

/// Called about once per second while connected. On receive()'s thread.
using ShowProgress = std::function<void(const Progress& progress)>;

/// Connects to the first endpoint that accepts and receives what `options` ask for. Blocks until
/// that has arrived, `interrupted` becomes true (checked ten times per second), or the source
/// fails. Without --seconds it gives up after ten seconds without a first frame.
[[nodiscard]] Reception receive(const Target& target, const Options& options,
                                const std::atomic<bool>& interrupted, const Tell& tell,
                                const ShowProgress& showProgress = {});

}  // namespace monitor
