#pragma once
// The result of receiving from one source.

#include <optional>
#include <string>

#include "monitor/statistics.h"
#include "ndi/wire/videoinfo.h"
#include "support/ffmpeghandles.h"

namespace monitor {

struct Reception {
    enum class End {
        Complete,      ///< Everything asked for arrived, or the user interrupted.
        NoConnection,  ///< No endpoint accepted; `reason` lists the attempts and their errors.
        Nothing,       ///< Connected, but no frame arrived.
        Early,         ///< The source disconnected or sent garbage before everything had arrived.
    };

    std::string name;
    std::string address;  ///< Of the connection; "" without one.
    End end = End::NoConnection;
    std::string reason;  ///< Why it ended; "" when everything asked for arrived.
    Statistics statistics;
    std::optional<ndi::wire::VideoInfo> video;  ///< Of the last frame.
    support::FramePtr frame;                    ///< The last frame that could be decoded.
    double elapsedSeconds = 0;                  ///< Since the connection was made.
};

}  // namespace monitor
