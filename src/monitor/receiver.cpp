#include "monitor/receiver.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <chrono>

#include "monitor/decoder.h"
#include "monitor/videotext.h"
#include "ndi/wire/messagereader.h"
#include "ndi/wire/sourcename.h"
#include "ndi/wire/textmessage.h"

namespace monitor {
namespace {

namespace wire = ndi::wire;
using Clock = std::chrono::steady_clock;
using asio::ip::tcp;

constexpr std::chrono::seconds kConnectTimeout{5};
constexpr std::chrono::seconds kFirstFrameTimeout{10};
constexpr std::chrono::milliseconds kCheckInterval{100};

std::int64_t wallClock100ns() {
    using namespace std::chrono;
    return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count() / 100;
}

std::string endpointText(const tcp::endpoint& endpoint) {
    const std::string address = endpoint.address().to_string();
    return fmt::format(endpoint.address().is_v6() ? "[{}]:{}" : "{}:{}", address, endpoint.port());
}

class Connection {
public:
    Connection(const Target& target, const Options& options, const std::atomic<bool>& interrupted,
               const Tell& tell)
        : m_target(target), m_options(options), m_interrupted(interrupted), m_tell(tell) {
        m_result.name = target.name;
    }

    Reception run() {
        if (connect()) {
            m_start = Clock::now();
            sendGreeting();
            readMore();
            checkEnd();
            m_context.restart();
            m_context.run();
            m_result.elapsedSeconds = std::chrono::duration<double>(Clock::now() - m_start).count();
            decodeLastPacket();
        }
        return std::move(m_result);
    }

private:
    bool connect() {
        for (const auto& endpoint : m_target.endpoints) {
            asio::error_code error = asio::error::timed_out;
            m_socket = tcp::socket(m_context);
            m_socket.async_connect(endpoint, [&error](asio::error_code result) { error = result; });
            const auto end = Clock::now() + kConnectTimeout;
            m_context.restart();
            while (!m_context.stopped() && Clock::now() < end && !m_interrupted) {
                m_context.run_for(kCheckInterval);
            }
            if (!m_context.stopped()) {
                asio::error_code ignored;
                m_socket.close(ignored);
                m_context.run();  // Runs the cancelled handler, which refers to `error`.
                error = asio::error::timed_out;
            }
            if (!error) {
                m_result.address = endpointText(endpoint);
                m_socket.set_option(tcp::no_delay(true), error);
                return true;
            }
            m_result.reason +=
                fmt::format("{}connecting to {} failed: {}", m_result.reason.empty() ? "" : "; ",
                            endpointText(endpoint), error.message());
        }
        return false;
    }

    void sendGreeting() {
        wire::EnabledStreamsText streams;
        streams.video = true;
        streams.text = true;
        wire::QualityText quality;
        quality.low = m_options.lowQuality;
        wire::TallyText tally;
        tally.onProgram = m_options.tally == Options::Tally::Program;
        tally.onPreview = m_options.tally == Options::Tally::Preview;
        for (const auto& text : {composeText(wire::VersionText{}),
                                 composeText(wire::IdentifyText{
                                     wire::instanceName(wire::machineName(), "ndimonitor")}),
                                 composeText(quality), composeText(streams), composeText(tally)}) {
            const auto message = wire::makeTextMessage(text);
            m_greeting.insert(m_greeting.end(), message.begin(), message.end());
        }
        asio::async_write(m_socket, asio::buffer(m_greeting),
                          [this](asio::error_code error, std::size_t) {
                              if (error && !m_ended) {
                                  endEarly("sending failed: " + error.message());
                              }
                          });
    }

    void readMore() {
        m_socket.async_read_some(
            asio::buffer(m_buffer), [this](asio::error_code error, std::size_t size) {
                if (m_ended) {
                    return;
                }
                if (error) {
                    endEarly(error == asio::error::eof ? "the source closed the connection"
                                                       : "receiving failed: " + error.message());
                    return;
                }
                m_reader.append(m_buffer.data(), size);
                handleMessages();
                if (!m_ended) {
                    readMore();
                }
            });
    }

    void handleMessages() {
        wire::Message message;
        auto result = wire::MessageReader::Result::More;
        while (!m_ended &&
               (result = m_reader.next(message)) == wire::MessageReader::Result::Ready) {
            if (!message.readable) {
                continue;  // Of a later protocol version than this receiver announces.
            }
            if (message.header.kind == static_cast<std::uint16_t>(wire::Kind::Video)) {
                handleVideo(message);
            } else if (message.header.kind == static_cast<std::uint16_t>(wire::Kind::Text)) {
                handleText(message);
            }
        }
        if (result == wire::MessageReader::Result::Garbage) {
            endEarly(fmt::format("the source sent garbage: {}", m_reader.error()));
        }
    }

    void handleText(const wire::Message& message) {
        const auto text = wire::parseText(message.data);
        if (const auto* echo = std::get_if<wire::TallyEchoText>(&text)) {
            if (m_options.tally != Options::Tally::None) {
                m_tell(fmt::format("Tally of all receivers: {}, {}",
                                   echo->onProgram ? "on program" : "not on program",
                                   echo->onPreview ? "in preview" : "not in preview"));
            }
        }
    }

    void handleVideo(const wire::Message& message) {
        const std::int64_t wallClock = wallClock100ns();
        auto& statistics = m_result.statistics;
        auto video = wire::parseVideoInfo(message.info);
        if (!video) {
            statistics.addCorrupt();
            return;
        }
        ArrivedFrame frame;
        frame.arrivedUs =
            std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - m_start).count();
        frame.wallClock100ns = wallClock;
        frame.timestamp100ns = video->timestamp;
        frame.period100ns = 1e7 * video->rateDenominator / video->rateNumerator;
        frame.bytes = message.data.size;
        statistics.add(frame);

        if (!m_result.video || describe(*m_result.video) != describe(*video)) {
            m_tell(describe(*video));
        }
        m_result.video = std::move(video);
        const bool last = m_options.frames && statistics.frames() >= *m_options.frames;
        if (m_options.decode) {
            decode(message.data);
        } else if (!m_options.saveFile.empty()) {
            m_lastPacket.assign(message.data.data, message.data.data + message.data.size);
        }
        if (last) {
            end(Reception::End::Complete, {});
        }
    }

    void decode(const wire::ByteView& data) {
        const auto& video = *m_result.video;
        m_frame = m_decoder.decode(video.fourCC, video.width, video.height, data.data, data.size);
        if (m_frame == nullptr) {
            m_result.statistics.addCorrupt();
            if (m_result.statistics.corrupt() == 1) {
                m_tell("Damaged frame: " + m_decoder.error());
            }
            return;
        }
        if (!m_options.saveFile.empty()) {
            m_result.frame.reset(av_frame_clone(m_frame));
        }
    }

    void decodeLastPacket() {
        if (!m_lastPacket.empty() && m_result.video) {
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
            const auto elapsed = Clock::now() - m_start;
            const bool nothing = m_result.statistics.frames() == 0;
            if (m_interrupted) {
                end(Reception::End::Complete, "interrupted");
            } else if (m_options.seconds &&
                       elapsed >= std::chrono::duration<double>(*m_options.seconds)) {
                const bool tooFew = m_options.frames.has_value();
                end(tooFew ? Reception::End::Early : Reception::End::Complete,
                    tooFew ? "the time ended before all frames had arrived" : "");
            } else if (!m_options.seconds && nothing && elapsed >= kFirstFrameTimeout) {
                end(Reception::End::Nothing, "no frame arrived within ten seconds");
            } else {
                checkEnd();
            }
        });
    }

    void endEarly(const std::string& reason) { end(Reception::End::Early, reason); }

    void end(Reception::End how, const std::string& reason) {
        if (m_ended) {
            return;
        }
        m_ended = true;
        m_result.end = m_result.statistics.frames() == 0 ? Reception::End::Nothing : how;
        m_result.reason = reason;
        m_timer.cancel();
        asio::error_code ignored;
        m_socket.shutdown(tcp::socket::shutdown_both, ignored);
        m_socket.close(ignored);
    }

    const Target& m_target;
    const Options& m_options;
    const std::atomic<bool>& m_interrupted;
    const Tell& m_tell;
    asio::io_context m_context{1};
    tcp::socket m_socket{m_context};
    asio::steady_timer m_timer{m_context};
    Clock::time_point m_start;
    std::vector<std::uint8_t> m_greeting;
    std::array<std::uint8_t, 256 * 1024> m_buffer{};
    wire::MessageReader m_reader{wire::Limits::forReceiver()};
    Decoder m_decoder;
    const AVFrame* m_frame = nullptr;        ///< Owned by m_decoder.
    std::vector<std::uint8_t> m_lastPacket;  ///< Only without decoding: the frame to save.
    bool m_ended = false;
    Reception m_result;
};

}  // namespace

Reception receive(const Target& target, const Options& options,
                  const std::atomic<bool>& interrupted, const Tell& tell) {
    return std::make_unique<Connection>(target, options, interrupted, tell)->run();
}

}  // namespace monitor
