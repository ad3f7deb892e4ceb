#include "monitor/receiver.h"

#include <fmt/format.h>

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <memory>

#include "monitor/connection.h"
#include "monitor/decoder.h"
#include "monitor/recentrate.h"
#include "monitor/videotext.h"

namespace monitor {
namespace {

namespace wire = ndi::wire;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kFirstFrameTimeout{10};
constexpr std::chrono::milliseconds kCheckInterval{100};
constexpr std::chrono::seconds kProgressInterval{1};

Request requestOf(const Options& options) {
    return {options.lowQuality, options.tally == Options::Tally::Program,
            options.tally == Options::Tally::Preview};
}

class Receiver final : public Connection::Listener {
public:
    Receiver(const Target& target, const Options& options, const std::atomic<bool>& interrupted,
             const Tell& tell, const ShowProgress& showProgress)
        : m_options(options),
          m_interrupted(interrupted),
          m_tell(tell),
          m_showProgress(showProgress) {
        m_result.name = target.name;
        m_connection.start(target.endpoints, requestOf(options));
        checkEnd();
    }

    Reception run() {
        m_context.run();
        if (m_start) {
            m_result.elapsedSeconds =
                std::chrono::duration<double>(Clock::now() - *m_start).count();
        }
        decodeLastPacket();
        return std::move(m_result);
    }

private:
    void onConnected(const std::string& address) override {
        m_start = Clock::now();
        m_nextProgress = *m_start + kProgressInterval;
        m_result.address = address;
    }

    void onVideo(const wire::VideoInfo& video, const ArrivedFrame& frame,
                 wire::ByteView packet) override {
        m_result.statistics.add(frame);
        m_recent.add(frame);
        if (!m_result.video || describe(*m_result.video) != describe(video)) {
            m_tell(describe(video));
        }
        m_result.video = video;
        if (m_options.decode) {
            decode(packet);
        } else if (!m_options.saveFile.empty()) {
            m_lastPacket.assign(packet.data, packet.data + packet.size);
        }
        if (m_options.frames && m_result.statistics.frames() >= *m_options.frames) {
            end(Reception::End::Complete, {});
        }
    }

    void onDamagedVideo() override { m_result.statistics.addCorrupt(); }

    void onTally(bool onProgram, bool onPreview) override {
        if (m_options.tally != Options::Tally::None) {
            m_tell(fmt::format("Tally of all receivers: {}, {}",
                               onProgram ? "on program" : "not on program",
                               onPreview ? "in preview" : "not in preview"));
        }
    }

    void onClosed(const std::string& reason) override {
        end(m_start ? Reception::End::Early : Reception::End::NoConnection, reason);
    }

    void decode(const wire::ByteView& packet) {
        const auto& video = *m_result.video;
        const AVFrame* frame =
            m_decoder.decode(video.fourCC, video.width, video.height, packet.data, packet.size);
        if (frame == nullptr) {
            m_result.statistics.addCorrupt();
            if (m_result.statistics.corrupt() == 1) {
                m_tell("Damaged frame: " + m_decoder.error());
            }
        } else if (!m_options.saveFile.empty()) {
            m_result.frame.reset(av_frame_clone(frame));
        }
    }

    void decodeLastPacket() {
        if (!m_lastPacket.empty()) {
            decode({m_lastPacket.data(), m_lastPacket.size()});
        }
    }

    /// Checks ten times per second whether to end.
    void checkEnd() {
        m_timer.expires_after(kCheckInterval);
        m_timer.async_wait([this](asio::error_code error) {
            if (error || m_ended) {
                return;
            }
            if (m_interrupted) {
                end(m_start ? Reception::End::Complete : Reception::End::NoConnection,
                    "interrupted");
            } else if (m_start) {
                checkTime(Clock::now() - *m_start);
                showProgress();
            }
            if (!m_ended) {
                checkEnd();
            }
        });
    }

    void checkTime(Clock::duration elapsed) {
        const auto limit = std::chrono::duration<double>(m_options.seconds.value_or(0));
        if (m_options.seconds && elapsed >= limit) {
            const bool tooFew = m_options.frames.has_value();
            end(tooFew ? Reception::End::Early : Reception::End::Complete,
                tooFew ? "the time ended before all frames had arrived" : "");
        } else if (!m_options.seconds && m_result.statistics.frames() == 0 &&
                   elapsed >= kFirstFrameTimeout) {
            end(Reception::End::Nothing, "no frame arrived within ten seconds");
        }
    }

    void showProgress() {
        if (!m_showProgress || Clock::now() < m_nextProgress) {
            return;
        }
        m_nextProgress += kProgressInterval;
        const auto now = RecentRate::nowUs();
        m_showProgress({m_result.video, m_recent.framesPerSecond(now),
                        m_recent.megabitsPerSecond(now), droppedFrames(m_result.statistics)});
    }

    void end(Reception::End how, const std::string& reason) {
        if (m_ended) {
            return;
        }
        m_ended = true;
        const bool nothing = m_start && m_result.statistics.frames() == 0;
        m_result.end = nothing ? Reception::End::Nothing : how;
        m_result.reason = reason;
        m_timer.cancel();
        m_connection.close();
    }

    const Options& m_options;
    const std::atomic<bool>& m_interrupted;
    const Tell& m_tell;
    const ShowProgress& m_showProgress;
    asio::io_context m_context{1};
    asio::steady_timer m_timer{m_context};
    Connection m_connection{m_context, *this};
    std::optional<Clock::time_point> m_start;  ///< When the connection was made.
    Clock::time_point m_nextProgress;
    RecentRate m_recent;
    Decoder m_decoder;
    std::vector<std::uint8_t> m_lastPacket;  ///< Only without decoding: the frame to save.
    bool m_ended = false;
    Reception m_result;
};

}  // namespace

std::uint64_t droppedFrames(const Statistics& statistics) {
    return statistics.lateOrLost().value_or(0) + statistics.corrupt();
}

Reception receive(const Target& target, const Options& options,
                  const std::atomic<bool>& interrupted, const Tell& tell,
                  const ShowProgress& showProgress) {
    return std::make_unique<Receiver>(target, options, interrupted, tell, showProgress)->run();
}

}  // namespace monitor
