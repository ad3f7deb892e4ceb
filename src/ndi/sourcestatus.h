#pragma once
// What a source of the built-in output reports about itself.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace ndi {

enum class StreamChoice { None, Main, Preview };

enum class AnnounceState {
    Unknown,       ///< The vendor's runtime publishes the source and does not say.
    Announced,     ///< Receivers find the source under its name.
    Probing,       ///< Not found at present; tried again. `announceReason` says why.
    NotAnnounced,  ///< Receivers can connect by address only; `announceReason` says why.
};

/// Frames that a receiver did not get, by cause.
struct DroppedFrames {
    std::uint64_t receiverTooSlow = 0;
    std::uint64_t ioThreadLate = 0;
    std::uint64_t connectionClosed = 0;
};

struct ReceiverStatus {
    std::string name;     ///< As the receiver states it: clean UTF-8, at most 128 bytes.
    std::string address;  ///< "10.0.0.2:40112" or "[fe80::2%eth0]:40112".
    StreamChoice stream = StreamChoice::None;
    std::chrono::system_clock::time_point connectedSince;
    std::uint64_t sentFrames = 0;  ///< Repeats included.
    std::uint64_t sentBytes = 0;
    DroppedFrames dropped;
    double megabitsPerSecond = 0;  ///< Over the last second or so.
    bool onProgram = false;
    bool onPreview = false;
};

struct SourceStatus {
    /// False: there is no such source, or the vendor's runtime publishes it; nothing below is set.
    bool known = false;
    std::string name;           ///< On the network, "MACHINE (Source name)".
    std::string sourceName;     ///< The part in brackets.
    std::string requestedName;  ///< Given to NDIlib_send_create(); a lost name is numbered.
    std::uint16_t port = 0;
    AnnounceState announceState = AnnounceState::Unknown;
    std::string announceReason;
    std::vector<ReceiverStatus> receivers;  ///< Those that completed the handshake, oldest first.
    bool onProgram = false;                 ///< On air at one receiver at least.
    bool onPreview = false;
    std::uint64_t sentFrames = 0;  ///< By the caller; repeats excluded.
    double framesPerSecond = 0;    ///< Of those, over the last second or more.
    double megabitsPerSecond = 0;  ///< To all receivers together.
};

}  // namespace ndi
