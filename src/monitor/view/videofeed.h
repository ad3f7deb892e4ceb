#pragma once
// Receives from one source for as long as it is wanted, and reconnects.

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "monitor/connection.h"
#include "monitor/decoder.h"
#include "monitor/receiver.h"
#include "monitor/recentrate.h"
#include "monitor/rgbconverter.h"

namespace monitor {

struct FeedStatus {
    std::string message;              ///< Why no video arrives; "" while connected.
    Progress progress;                ///< Updated once per second.
    std::optional<double> latencyMs;  ///< Average of the last second, by the frames' timestamps.
};

/// Connects, receives and decodes on a thread of its own. All functions may be called from any
/// thread.
class VideoFeed {
public:
    struct Settings {
        Target target;
        bool searchable = true;  ///< By name, when the source returns; else its address is retried.
        Request request;
    };

    /// `changed` is called on the feed's thread when there is a new frame or status, and ten times
    /// per second once `interrupted` is true.
    VideoFeed(Settings settings, const std::atomic<bool>& interrupted,
              std::function<void()> changed);
    /// Disconnects.
    ~VideoFeed();
    VideoFeed(const VideoFeed&) = delete;
    VideoFeed& operator=(const VideoFeed&) = delete;

    void request(const Request& request);

    /// Exchanges `frame` for the newest frame, in AV_PIX_FMT_BGR0. False if there is none that was
    /// not taken yet.
    [[nodiscard]] bool takeFrame(support::FramePtr& frame);

    [[nodiscard]] FeedStatus status() const;

private:
    class Session;

    void run();
    void receiveUntilClosed();
    void awaitSource();
    [[nodiscard]] bool ending() const { return m_stop || m_interrupted; }
    void publish(support::FramePtr& frame);
    void publish(const FeedStatus& status);
    [[nodiscard]] Request currentRequest() const;

    const Settings m_settings;
    const std::atomic<bool>& m_interrupted;
    const std::function<void()> m_changed;
    asio::io_context m_context{1};
    Session* m_session = nullptr;  ///< The feed thread's.
    std::vector<asio::ip::tcp::endpoint> m_endpoints;
    std::string m_closeReason;
    std::atomic<bool> m_stop{false};

    mutable std::mutex m_mutex;  ///< For what follows. Held only to copy or exchange.
    Request m_request;
    FeedStatus m_status;
    support::FramePtr m_newest{av_frame_alloc()};
    bool m_hasNew = false;

    std::thread m_thread;
};

}  // namespace monitor
