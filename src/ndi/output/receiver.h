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

#include "ndi/output/loglimit.h"
#include "ndi/output/outgoingframe.h"
#include "ndi/wire/messagereader.h"
#include "ndi/wire/textmessage.h"

namespace ndi {

class Receiver;

/// What a receiver may do to us. Over a limit its connection is closed.
struct ReceiverLimits {
    std::chrono::milliseconds handshake{10'000};  ///< From the connection to ndi_enabled_streams.
    std::chrono::milliseconds stall{30'000};      ///< Taking nothing of what we are sending.
    int messagesPerSecond = 100;
    int unsentBytes = 128 * 1024;  ///< What the kernel takes beyond what is on the wire.
    wire::Limits messages;         ///< Sizes of what it sends.
};

enum class StreamChoice { None, Main, Preview };

/// Who a receiver reports to, on its I/O thread.
class ReceiverHost {
public:
    /// wants() has another answer than before.
    virtual void streamChanged(Receiver& receiver) = 0;
    virtual void tallyChanged(Receiver& receiver) = 0;
    /// The handshake is complete.
    virtual void joined(Receiver& receiver) = 0;
    /// Closed for good, for the given reason. Called once.
    virtual void left(Receiver& receiver, const std::string& reason) = 0;

protected:
    ~ReceiverHost() = default;
};

/// A state machine around one connection: it greets, reads texts, and writes frames. One frame
/// is on its way and the newest two wait at most; what waits for a receiver is bounded by that.
/// Everything happens on the I/O thread; nothing blocks. Lives in a shared_ptr, which its pending
/// operations share.
class Receiver : public std::enable_shared_from_this<Receiver> {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// `host` outlives the connection's close().
    Receiver(asio::ip::tcp::socket socket, ReceiverHost& host, const ReceiverLimits& limits);

    /// Sends `greeting` and begins to read.
    void start(std::vector<std::uint8_t> greeting);

    /// Sends this frame after the one that may still wait, and instead of an older one.
    void offer(const OutgoingFrame& frame);

    /// Sends a text, instead of one that still waits.
    void sendText(std::vector<std::uint8_t> message);

    /// Closes the connection when the receiver is beyond one of the limits of time.
    void checkTime(TimePoint now);

    void close(const std::string& reason);

    [[nodiscard]] StreamChoice wants() const { return m_stream; }
    /// Wants a frame and was not offered one since.
    [[nodiscard]] bool awaitingFirstFrame() const { return m_awaitingFirstFrame; }
    [[nodiscard]] bool hasJoined() const { return m_joined; }
    [[nodiscard]] const wire::TallyText& tally() const { return m_tally; }
    /// Counts frames that were lost before they could be offered.
    void countLate(std::uint64_t frames) { m_droppedLate += frames; }

    /// Name and address, for the log.
    [[nodiscard]] std::string peerName() const;
    /// What it was sent and what it lost, by cause, in words.
    [[nodiscard]] std::string account() const;

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

    void writeNext();
    void writeSome();
    void onWritten(const asio::error_code& error, std::size_t size);
    [[nodiscard]] bool writing() const { return m_unwritten[0].size() + m_unwritten[1].size() > 0; }

    asio::ip::tcp::socket m_socket;
    ReceiverHost& m_host;
    const ReceiverLimits& m_limits;
    std::string m_address;
    std::string m_name;
    bool m_closed = false;

    // Reading.
    std::array<std::uint8_t, 4096> m_input{};
    wire::MessageReader m_reader;
    int m_messagesThisSecond = 0;
    TimePoint m_secondStart;
    TimePoint m_joinBy;
    LogLimit m_peerLogLimit{20};

    // What it asked for.
    bool m_joined = false;
    bool m_video = false;
    bool m_low = false;
    StreamChoice m_stream = StreamChoice::None;
    bool m_awaitingFirstFrame = false;
    wire::TallyText m_tally;

    // Writing.
    std::vector<std::uint8_t> m_nextText;
    std::vector<std::uint8_t> m_text;  ///< On its way.
    WaitingFrames m_waiting;
    OutgoingFrame m_inFlight;  ///< On its way.
    std::array<asio::const_buffer, 2> m_unwritten;
    TimePoint m_progress;  ///< When the last bytes were taken.

    // Accounts.
    std::uint64_t m_sentFrames = 0;
    std::uint64_t m_sentBytes = 0;
    std::uint64_t m_droppedSlow = 0;
    std::uint64_t m_droppedLate = 0;
    std::uint64_t m_droppedClosed = 0;
};

}  // namespace ndi
