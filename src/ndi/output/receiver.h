#pragma once
// One receiver's connection.

#include <array>
#include <asio/buffer.hpp>
#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ndi/output/outgoingframe.h"
#include "ndi/output/ratemeter.h"
#include "ndi/sourcestatus.h"
#include "ndi/wire/messagereader.h"
#include "ndi/wire/textmessage.h"
#include "support/loglimit.h"

namespace ndi {

class Receiver;

/// The limits of one receiver's connection. Beyond one of them it is closed.
struct ReceiverLimits {
    std::chrono::milliseconds handshake{10'000};  ///< From the connection to ndi_enabled_streams.
    std::chrono::milliseconds stall{30'000};      ///< Accepting no data while some is being sent.
    int messagesPerSecond = 100;
    int unsentBytes = 128 * 1024;  ///< Queued in the kernel beyond what is on the wire.
    wire::Limits messages;         ///< Sizes of the messages it sends.
};

/// The limits of the log lines that receivers cause: one per cause, for all of a source's
/// receivers.
struct ReceiverLog {
    support::LogLimit malformed{5};
    support::LogLimit skipped{5};
    support::LogLimit versions{10};
    support::LogLimit tally{10};
    support::LogLimit stream{10};
    support::LogLimit joined{10};
    support::LogLimit left{10};
    support::LogLimit closed{10};  ///< By us, beyond a limit.
    support::LogLimit leftEarly{10};
    support::LogLimit refused;     ///< Beyond the connection limit.
    support::LogLimit notAllowed;  ///< By the settings.
    support::LogLimit onAir{10};
};

/// What a receiver reports its changes to, on the I/O thread.
class ReceiverHost {
public:
    /// stream() has changed.
    virtual void streamChanged(Receiver& receiver) = 0;
    virtual void tallyChanged(Receiver& receiver) = 0;
    /// Something that status() reports has changed, other than a counter.
    virtual void changed() = 0;
    /// The handshake is complete.
    virtual void joined(Receiver& receiver) = 0;
    /// The connection is closed. Called once.
    virtual void left(Receiver& receiver, const std::string& reason) = 0;
    [[nodiscard]] virtual ReceiverLog& log() = 0;

protected:
    ~ReceiverHost() = default;
};

/// One connection: sends the greeting, reads text messages, writes frames. At most one frame is
/// being written and the two newest wait. Everything happens on the I/O thread; nothing blocks. An
/// exception on the way, for lack of memory, closes this connection alone.
/// Owned by shared_ptr, shared with its pending operations.
class Receiver : public std::enable_shared_from_this<Receiver> {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// `host` and `limits` outlive the connection's close().
    Receiver(asio::ip::tcp::socket socket, ReceiverHost& host, const ReceiverLimits& limits);

    /// Sends `greeting` and starts to read.
    void start(std::vector<std::uint8_t> greeting);

    /// Queues the frame behind one that waits; when two wait already, the older one is dropped.
    void offer(const OutgoingFrame& frame);

    /// Sends a text; it replaces one that still waits.
    void sendText(std::vector<std::uint8_t> message);

    /// Closes the connection when a time limit has passed.
    void checkTime(TimePoint now);

    void close(const std::string& reason);
    /// The receiver or the network has ended the connection.
    [[nodiscard]] bool endedByPeer() const { return m_endedByPeer; }

    [[nodiscard]] const asio::ip::tcp::socket& socket() const { return m_socket; }
    [[nodiscard]] StreamChoice stream() const { return m_stream; }
    /// Has chosen a stream and has not been offered a frame since.
    [[nodiscard]] bool awaitingFirstFrame() const { return m_awaitingFirstFrame; }
    [[nodiscard]] bool hasJoined() const { return m_joined; }
    [[nodiscard]] const wire::TallyText& tally() const { return m_tally; }
    /// Counts frames that were dropped before they could be offered.
    void countLate(std::uint64_t frames) { m_dropped.ioThreadLate += frames; }

    /// Measures the data rate; call it once a second.
    void measureRate(TimePoint now) { m_bytesPerSecond = m_byteMeter.update(now, m_sentBytes); }
    [[nodiscard]] ReceiverStatus status() const;

    /// Name and address, for the log.
    [[nodiscard]] std::string peerName() const;
    /// Frames sent and dropped, by cause, for the log.
    [[nodiscard]] std::string summary() const;

private:
    void read();
    void onRead(const asio::error_code& error, std::size_t size);
    void onMessage(const wire::Message& message);
    void onText(const wire::MalformedText& text);
    void onText(const wire::UnknownText& text);
    void onText(const wire::VersionText& text);
    void onText(const wire::IdentifyText& text);
    void onText(const wire::QualityText& text);
    void onText(const wire::EnabledStreamsText& text);
    void onText(const wire::TallyText& text);
    void onText(const wire::TallyEchoText& /*text*/) {}
    void chooseStream();
    template <typename Work>
    void guarded(Work work) noexcept;

    void writeNext();
    void writeSome();
    void onWritten(const asio::error_code& error, std::size_t size);
    [[nodiscard]] bool writing() const { return m_unwritten[0].size() + m_unwritten[1].size() > 0; }

    asio::ip::tcp::socket m_socket;
    ReceiverHost& m_host;
    const ReceiverLimits& m_limits;
    std::string m_address;
    std::string m_name;
    const std::chrono::system_clock::time_point m_connectedSince;
    bool m_closed = false;
    bool m_endedByPeer = false;

    // Reading.
    std::array<std::uint8_t, 4096> m_input{};
    wire::MessageReader m_reader;
    int m_messagesThisSecond = 0;
    TimePoint m_secondStart;
    TimePoint m_joinBy;

    // What the receiver asked for.
    bool m_joined = false;
    bool m_video = false;
    bool m_low = false;
    StreamChoice m_stream = StreamChoice::None;
    bool m_awaitingFirstFrame = false;
    wire::TallyText m_tally;

    // Writing.
    std::vector<std::uint8_t> m_nextText;
    std::vector<std::uint8_t> m_text;  ///< Being written.
    WaitingFrames m_waiting;
    OutgoingFrame m_inFlight;  ///< Being written.
    std::array<asio::const_buffer, 2> m_unwritten;
    TimePoint m_progress;  ///< When the receiver last accepted bytes.

    // Counters. Repeats are not counted as dropped.
    std::uint64_t m_sentFrames = 0;
    std::uint64_t m_sentBytes = 0;
    DroppedFrames m_dropped;
    RateMeter m_byteMeter;
    double m_bytesPerSecond = 0;
};

}  // namespace ndi
