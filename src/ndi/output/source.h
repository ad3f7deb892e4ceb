#pragma once
// A source of the built-in output.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "ndi/ndilib.h"
#include "ndi/output/announcer.h"
#include "ndi/output/callguard.h"
#include "ndi/output/frameclock.h"
#include "ndi/output/ratemeter.h"
#include "ndi/output/server.h"
#include "ndi/sourcestatus.h"
#include "ndi/wire/videoinfo.h"
#include "speedhq/frameencoder.h"
#include "support/dirtyrows.h"
#include "support/loglimit.h"

namespace ndi {

struct SourceSettings {
    NameSequence names;   ///< The network sees "MACHINE (name)".
    bool clocked = true;  ///< send() returns at the next slot of the frame rate.
    /// Called after a change of status(), counters excepted, on a thread of the source's, ten times
    /// a second at most. Must not block. Not called after close(). May be empty.
    std::function<void()> onStatusChange;
    /// The matrix that BGRA frames are sent with.
    speedhq::ColourChoice colours = speedhq::ColourChoice::Automatic;
};

/// When the repeat thread sends the last frame again. A clocked source of a low frame rate waits
/// for two of its slots at least: a frame that is on its way is no reason for a repeat.
struct RepeatTimes {
    /// While no new frame is sent: the repeat interval.
    std::chrono::milliseconds interval{1000};
    /// While each repeat is of better quality than the one before.
    std::chrono::milliseconds refineInterval{150};
    /// A receiver that joins waits for the next frame if the last one is younger than this, else
    /// it gets a repeat at once.
    std::chrono::milliseconds active{100};
};

/// The collaborators of a source; a test can replace each of them.
struct SourceParts {
    Announcer::Announce announce = mdns::announceService;
    std::unique_ptr<speedhq::FrameEncoder> encoder = speedhq::createFrameEncoder();
    std::unique_ptr<Timekeeper> time = std::make_unique<Timekeeper>();
    ServerLimits limits;
    RepeatTimes repeat;
};

/// Publishes frames under a name. The caller's thread encodes, the server's thread writes to the
/// receivers, and the repeat thread sends the last frame again while no new one is sent. Every
/// member function may be called from any thread.
class Source {
public:
    /// Null when no port is free or the name is taken; the log says which. A source that can't be
    /// announced for another reason is opened all the same: receivers can connect by address.
    [[nodiscard]] static std::unique_ptr<Source> open(const SourceSettings& settings,
                                                      SourceParts parts);

    /// close()
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    /// The rows of the next frame that may differ from the frame before it; holds for one send().
    void hint(const support::DirtyRows& dirty);

    /// Encodes the frame for the receivers that want it, queues it for them, and waits for its
    /// slot. A frame that can't be sent is ignored with a log line. `frame` and its pixels are not
    /// used after the call.
    void send(const NDIlib_video_frame_v2_t* frame);

    /// Withdraws the source. A send() in another thread stops waiting for its slot and has returned
    /// before this does.
    void close();

    [[nodiscard]] std::uint16_t port() const { return m_server.port(); }
    /// The name on the network: "MACHINE (name)".
    [[nodiscard]] std::string instance() const { return m_announcer.instance(); }

    /// Takes no lock that send() takes.
    [[nodiscard]] SourceStatus status();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    Source(const SourceSettings& settings, SourceParts parts);
    [[nodiscard]] bool start();
    void announcementChanged();

    void refuse(const std::string& error);
    void encodeAndPublish(const NDIlib_video_frame_v2_t& frame, const speedhq::FrameView& view);
    [[nodiscard]] const support::DirtyRows& takeHint(const speedhq::FrameView& view);
    void reportColours(const speedhq::FrameView& view) const;
    void describe(const NDIlib_video_frame_v2_t& frame);
    void publish(const speedhq::EncodedStreams& streams, bool repeat, Audience audience);
    [[nodiscard]] OutgoingFrame wrap(const speedhq::EncodedFramePtr& packet, bool repeat,
                                     Audience audience);
    void waitForSlot(const NDIlib_video_frame_v2_t& frame);

    void repeatLoop();
    void repeatNow();
    [[nodiscard]] TimePoint repeatDue() const;
    [[nodiscard]] std::chrono::nanoseconds repeatPause() const;
    void noteQuality(const speedhq::EncodedStreams& streams, bool newFrame);
    void reportException(const char* what) noexcept;
    void reportMissing(const speedhq::EncodedStreams& streams, speedhq::Streams wanted);

    const std::string m_requestedName;
    const bool m_clocked;
    const std::function<void()> m_onStatusChange;
    const speedhq::ColourChoice m_colours;
    const RepeatTimes m_repeat;
    SourceParts m_parts;
    Server m_server;
    Announcer m_announcer;
    CallGuard m_callGuard;
    std::once_flag m_closeOnce;
    support::LogLimit m_refusals;
    support::LogLimit m_encoderErrors;

    std::atomic<std::uint64_t> m_sentFrames{0};
    std::mutex m_meterMutex;  ///< status() only.
    RateMeter m_frameMeter{std::chrono::steady_clock::now()};

    // The encoder and the newest frame's properties.
    std::mutex m_encoding;
    support::DirtyRows m_hint;
    bool m_hinted = false;
    bool m_hintBroken = false;  ///< A frame since the last encoded one was refused.
    speedhq::FrameView m_lastView;
    wire::VideoInfo m_info;
    float m_givenAspect = 0;
    bool m_synthesizeTimecode = true;

    std::mutex m_clockMutex;
    FrameClock m_clock;

    // When to repeat. The mutex is held for a few assignments only.
    mutable std::mutex m_repeatMutex;
    std::condition_variable m_repeatWake;
    bool m_closing = false;
    bool m_haveFrame = false;
    bool m_refining = false;
    int m_mainQuality = 0;
    int m_previewQuality = 0;
    std::uint64_t m_servedJoins = 0;
    std::chrono::nanoseconds m_twoSlots{0};  ///< Of the newest frame's rate; 0 if not clocked.
    TimePoint m_lastSend;
    TimePoint m_lastPublish;
    TimePoint m_repeatWakeTime = TimePoint::max();  ///< When the repeat thread's wait times out.
    std::thread m_repeatThread;
};

}  // namespace ndi
