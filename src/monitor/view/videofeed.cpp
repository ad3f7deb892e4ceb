#include "monitor/view/videofeed.h"

#include <fmt/format.h>

#include <algorithm>
#include <asio/post.hpp>

#include "monitor/browser.h"

namespace monitor {
namespace {

namespace wire = ndi::wire;

constexpr std::chrono::milliseconds kCheckInterval{100};
constexpr int kChecksPerStatus = 10;
constexpr std::chrono::seconds kRetryInterval{1};
constexpr std::chrono::hours kSearchTime{1};

}  // namespace

/// One connection, and what is counted and decoded on it.
class VideoFeed::Session final : public Connection::Listener {
public:
    explicit Session(VideoFeed& feed) : m_feed(feed) {}

    void run() {
        m_status.message = "Connecting to " + m_feed.m_settings.target.name;
        m_feed.publish(m_status);
        m_connection.start(m_feed.m_endpoints, m_feed.currentRequest());
        check();
        m_feed.m_context.restart();
        m_feed.m_context.run();
    }

    void request(const Request& request) { m_connection.request(request); }

    void close() {
        m_closed = true;
        m_timer.cancel();
        m_connection.close();
    }

private:
    void onConnected(const std::string& /*address*/) override {
        m_status.message.clear();
        m_feed.publish(m_status);
    }

    void onVideo(const wire::VideoInfo& video, const ArrivedFrame& frame,
                 wire::ByteView packet) override {
        m_statistics.add(frame);
        m_recent.add(frame);
        if (frame.timestamp100ns != 0) {
            // In doubles, because a timestamp may have any value.
            m_latencySumMs += (static_cast<double>(frame.wallClock100ns) -
                               static_cast<double>(frame.timestamp100ns)) /
                              1e4;
            ++m_latencyCount;
        }
        m_status.progress.video = video;
        const AVFrame* decoded =
            m_decoder.decode(video.fourCC, video.width, video.height, packet.data, packet.size);
        if (decoded == nullptr || !m_converter.convert(*decoded, *m_rgb).empty()) {
            m_statistics.addCorrupt();
            return;
        }
        m_feed.publish(m_rgb);
        if (m_statistics.frames() == 1) {
            updateStatus();
        }
    }

    void onDamagedVideo() override { m_statistics.addCorrupt(); }
    void onTally(bool /*onProgram*/, bool /*onPreview*/) override {}

    void onClosed(const std::string& reason) override {
        m_feed.m_closeReason = reason;
        close();
    }

    /// Ten times per second, because a signal can't wake the thread by itself.
    void check() {
        m_timer.expires_after(kCheckInterval);
        m_timer.async_wait([this](asio::error_code error) {
            if (error || m_closed) {
                return;
            }
            if (m_feed.m_interrupted) {
                m_feed.m_changed();
            }
            if (++m_checks % kChecksPerStatus == 0) {
                updateStatus();
            }
            check();
        });
    }

    void updateStatus() {
        const auto now = RecentRate::nowUs();
        m_status.progress.framesPerSecond = m_recent.framesPerSecond(now);
        m_status.progress.megabitsPerSecond = m_recent.megabitsPerSecond(now);
        m_status.progress.dropped = droppedFrames(m_statistics);
        if (m_latencyCount > 0) {
            m_status.latencyMs = m_latencySumMs / m_latencyCount;
            m_latencySumMs = 0;
            m_latencyCount = 0;
        }
        m_feed.publish(m_status);
    }

    VideoFeed& m_feed;
    asio::steady_timer m_timer{m_feed.m_context};
    Connection m_connection{m_feed.m_context, *this};
    Statistics m_statistics;
    RecentRate m_recent;
    FeedStatus m_status;
    Decoder m_decoder;
    RgbConverter m_converter{AV_PIX_FMT_BGR0, RgbConverter::Rounding::Fast};
    support::FramePtr m_rgb{av_frame_alloc()};
    double m_latencySumMs = 0;
    int m_latencyCount = 0;
    int m_checks = 0;
    bool m_closed = false;
};

VideoFeed::VideoFeed(Settings settings, const std::atomic<bool>& interrupted,
                     std::function<void()> changed)
    : m_settings(std::move(settings)),
      m_interrupted(interrupted),
      m_changed(std::move(changed)),
      m_endpoints(m_settings.target.endpoints),
      m_request(m_settings.request),
      m_thread([this] { run(); }) {}

VideoFeed::~VideoFeed() {
    m_stop = true;
    asio::post(m_context, [this] {
        if (m_session != nullptr) {
            m_session->close();
        }
    });
    m_thread.join();
}

void VideoFeed::request(const Request& request) {
    {
        const std::lock_guard lock(m_mutex);
        m_request = request;
    }
    asio::post(m_context, [this] {
        if (m_session != nullptr) {
            m_session->request(currentRequest());
        }
    });
}

bool VideoFeed::takeFrame(support::FramePtr& frame) {
    const std::lock_guard lock(m_mutex);
    if (!m_hasNew) {
        return false;
    }
    std::swap(frame, m_newest);
    m_hasNew = false;
    return true;
}

FeedStatus VideoFeed::status() const {
    const std::lock_guard lock(m_mutex);
    return m_status;
}

Request VideoFeed::currentRequest() const {
    const std::lock_guard lock(m_mutex);
    return m_request;
}

void VideoFeed::publish(support::FramePtr& frame) {
    {
        const std::lock_guard lock(m_mutex);
        std::swap(frame, m_newest);
        m_hasNew = true;
    }
    m_changed();
}

void VideoFeed::publish(const FeedStatus& status) {
    {
        const std::lock_guard lock(m_mutex);
        m_status = status;
    }
    m_changed();
}

void VideoFeed::run() {
    while (!m_stop) {
        receiveUntilClosed();
        if (!m_stop) {
            awaitSource();
        }
    }
}

void VideoFeed::receiveUntilClosed() {
    const auto session = std::make_unique<Session>(*this);
    m_session = session.get();
    session->run();
    m_session = nullptr;
}

/// A source that has ended may still be in caches for a while, so attempts keep their distance.
void VideoFeed::awaitSource() {
    FeedStatus status;
    status.message = fmt::format("{} is disconnected: {}", m_settings.target.name, m_closeReason);
    publish(status);
    asio::steady_timer timer(m_context, kRetryInterval);
    while (!m_stop && timer.expiry() > std::chrono::steady_clock::now()) {
        m_context.restart();
        m_context.run_for(kCheckInterval);
        if (m_interrupted) {
            m_changed();
        }
    }
    if (!m_settings.searchable) {
        return;
    }
    const auto& name = m_settings.target.name;
    const auto isWanted = [&](const FoundSource& source) { return source.name == name; };
    const auto found = browse(kSearchTime, [&](const FoundSources& soFar) {
        if (m_interrupted) {
            m_changed();
        }
        return ending() || std::any_of(soFar.begin(), soFar.end(), isWanted);
    });
    const auto source = std::find_if(found.begin(), found.end(), isWanted);
    if (source != found.end()) {
        m_endpoints = source->endpoints;
    }
}

}  // namespace monitor
