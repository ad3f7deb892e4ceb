#pragma once
// One connection to a source: asks for its frames and takes them.

#include <asio/ip/tcp.hpp>
#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "monitor/libav.h"
#include "monitor/options.h"
#include "monitor/statistics.h"
#include "ndi/wire/videoinfo.h"

namespace monitor {

struct Reception {
    enum class End {
        Complete,      ///< Everything asked for arrived, or the user ended it.
        NoConnection,  ///< `reason` says what was tried and why it failed.
        Nothing,       ///< Connected, but no frame came.
        Early,         ///< The source went away first, or sent garbage.
    };

    std::string name;
    std::string address;  ///< Connected to; "" without a connection.
    End end = End::NoConnection;
    std::string reason;
    Statistics statistics;
    std::optional<ndi::wire::VideoInfo> video;  ///< Of the last frame.
    FramePtr frame;                             ///< The last one that could be decoded.
    double elapsedSeconds = 0;                  ///< Since the connection was made.
};

struct Target {
    std::string name;  ///< For people.
    std::vector<asio::ip::tcp::endpoint> endpoints;
};

/// Lines for the user while it goes on: what the source is and sends. Called on receive()'s thread.
using Tell = std::function<void(const std::string& line)>;

/// Connects (the first endpoint that answers) and receives what `options` ask for. Blocks until
/// that is done, `interrupted` becomes true (looked at ten times a second), or the source fails.
/// Without an end asked for, a connection that brings no frame is given up after ten seconds.
[[nodiscard]] Reception receive(const Target& target, const Options& options,
                                const std::atomic<bool>& interrupted, const Tell& tell);

}  // namespace monitor
