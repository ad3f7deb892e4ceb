#include "ndi/output/receiver.h"

#include <utility>
#include <variant>

#include "ndi/output/exceptiontext.h"
#include "ndi/output/socketoptions.h"
#include "ndi/wire/endpoint.h"
#include "support/log.h"

namespace ndi {

namespace {

/// Bytes that the reader may keep allocated between messages.
constexpr std::size_t kReaderCapacity = 16 * 1024;

std::string addressOf(const asio::ip::tcp::socket& socket) {
    asio::error_code error;
    const auto peer = socket.remote_endpoint(error);
    return error ? "unknown address" : wire::endpointText(peer);
}

/// `buffers` without their first `size` bytes.
void consume(std::array<asio::const_buffer, 2>& buffers, std::size_t size) {
    for (auto& buffer : buffers) {
        const std::size_t here = std::min(size, buffer.size());
        buffer += here;
        size -= here;
    }
}

}  // namespace

Receiver::Receiver(asio::ip::tcp::socket socket, ReceiverHost& host, const ReceiverLimits& limits)
    : m_socket(std::move(socket)),
      m_host(host),
      m_limits(limits),
      m_address(addressOf(m_socket)),
      m_name("unnamed receiver"),
      m_connectedSince(std::chrono::system_clock::now()),
      m_reader(limits.messages),
      m_byteMeter(std::chrono::steady_clock::now()) {}

template <typename Work>
void Receiver::guarded(Work work) noexcept {
    try {
        work();
    } catch (...) {
        try {
            close("internal error: " + exceptionText());
        } catch (...) {  // no memory even for the log line; the socket is closed by now
        }
    }
}

void Receiver::start(std::vector<std::uint8_t> greeting) {
    m_secondStart = m_progress = std::chrono::steady_clock::now();
    m_joinBy = m_secondStart + m_limits.handshake;
    // Later than the stall limit, so that the log tells a stalled receiver from a dead one.
    setReceiverOptions(m_socket, m_limits.unsentBytes,
                       std::chrono::ceil<std::chrono::seconds>(2 * m_limits.stall));
    sendText(std::move(greeting));
    guarded([this] { read(); });
}

void Receiver::close(const std::string& reason) {
    if (m_closed) {
        return;
    }
    m_closed = true;
    asio::error_code ignored;
    m_socket.close(ignored);
    m_dropped.connectionClosed += m_inFlight.packet != nullptr && !m_inFlight.repeat ? 1 : 0;
    for (const OutgoingFrame& frame : m_waiting) {
        m_dropped.connectionClosed += frame.repeat ? 0 : 1;
    }
    m_stream = StreamChoice::None;
    m_awaitingFirstFrame = false;
    m_tally = {};
    m_host.left(*this, reason);
}

void Receiver::checkTime(TimePoint now) {
    if (!m_joined && now > m_joinBy) {
        close(fmt::format("no ndi_enabled_streams within {} ms", m_limits.handshake.count()));
    } else if (writing() && now - m_progress > m_limits.stall) {
        close(fmt::format("accepted no data for {} ms", m_limits.stall.count()));
    }
}

std::string Receiver::peerName() const {
    return m_name + " at " + m_address;
}

ReceiverStatus Receiver::status() const {
    ReceiverStatus status;
    status.name = m_name;
    status.address = m_address;
    status.stream = m_stream;
    status.connectedSince = m_connectedSince;
    status.sentFrames = m_sentFrames;
    status.sentBytes = m_sentBytes;
    status.dropped = m_dropped;
    status.megabitsPerSecond = m_bytesPerSecond * 8e-6;
    status.onProgram = m_tally.onProgram;
    status.onPreview = m_tally.onPreview;
    return status;
}

std::string Receiver::summary() const {
    return fmt::format(
        "sent {} frames ({:.1f} MB); dropped: receiver too slow {}, I/O thread late {}, "
        "connection closed {}",
        m_sentFrames, static_cast<double>(m_sentBytes) / 1e6, m_dropped.receiverTooSlow,
        m_dropped.ioThreadLate, m_dropped.connectionClosed);
}

// --- reading ---------------------------------------------------------------------------------

void Receiver::read() {
    m_socket.async_read_some(
        asio::buffer(m_input),
        [self = shared_from_this()](const asio::error_code& error, std::size_t size) {
            self->guarded([&] { self->onRead(error, size); });
        });
}

void Receiver::onRead(const asio::error_code& error, std::size_t size) {
    if (m_closed) {
        return;
    }
    if (error) {
        m_endedByPeer = true;
        close(error == asio::error::eof ? "closed by the receiver"
                                        : "reading failed: " + error.message());
        return;
    }
    m_reader.append(m_input.data(), size);
    wire::Message message;
    auto result = m_reader.next(message);
    while (result == wire::MessageReader::Result::Ready) {
        onMessage(message);
        if (m_closed) {
            return;
        }
        result = m_reader.next(message);
    }
    if (result == wire::MessageReader::Result::Garbage) {
        close(fmt::format("malformed message: {}", m_reader.error()));
        return;
    }
    m_reader.trim(kReaderCapacity);
    read();
}

void Receiver::onMessage(const wire::Message& message) {
    const auto now = std::chrono::steady_clock::now();
    if (now - m_secondStart > std::chrono::seconds(1)) {
        m_secondStart = now;
        m_messagesThisSecond = 0;
    }
    if (++m_messagesThisSecond > m_limits.messagesPerSecond) {
        close(fmt::format("more than {} messages per second", m_limits.messagesPerSecond));
        return;
    }
    if (message.header.kind != static_cast<std::uint16_t>(wire::Kind::Text) || !message.readable) {
        if (const auto more = m_host.log().skipped.allows()) {
            HV_DEBUG("skipped a message of kind {}, version {} from {}{}", message.header.kind,
                     message.header.version, peerName(), *more);
        }
        return;
    }
    std::visit([this](const auto& text) { onText(text); }, wire::parseText(message.data));
}

void Receiver::onText(const wire::MalformedText& text) {
    if (const auto more = m_host.log().malformed.allows()) {
        HV_WARN("ignored a text message from {} that is not XML: {}{}", peerName(), text.reason,
                *more);
    }
}

void Receiver::onText(const wire::UnknownText& text) {
    if (const auto more = m_host.log().skipped.allows()) {
        HV_DEBUG("ignored the text {} from {}{}", text.element, peerName(), *more);
    }
}

void Receiver::onText(const wire::VersionText& text) {
    if (const auto more = m_host.log().versions.allows()) {
        HV_DEBUG("{} reads versions: text {}, video {}, audio {}; sdk {} on {}{}", peerName(),
                 text.text, text.video, text.audio, text.sdk, text.platform, *more);
    }
}

void Receiver::onText(const wire::IdentifyText& text) {
    if (!text.name.empty()) {
        m_name = text.name;
        m_host.changed();
    }
}

void Receiver::onText(const wire::QualityText& text) {
    m_low = text.low;
    chooseStream();
}

void Receiver::onText(const wire::EnabledStreamsText& text) {
    m_video = text.video;
    const bool first = !m_joined;
    m_joined = true;
    if (first) {
        m_host.joined(*this);
    }
    chooseStream();
}

void Receiver::onText(const wire::TallyText& text) {
    if (text.onProgram == m_tally.onProgram && text.onPreview == m_tally.onPreview) {
        return;
    }
    m_tally = text;
    if (const auto more = m_host.log().tally.allows()) {
        HV_INFO("tally of {}: program {}, preview {}{}", peerName(), text.onProgram ? "on" : "off",
                text.onPreview ? "on" : "off", *more);
    }
    m_host.tallyChanged(*this);
}

void Receiver::chooseStream() {
    const StreamChoice choice = !m_joined || !m_video ? StreamChoice::None
                                : m_low               ? StreamChoice::Preview
                                                      : StreamChoice::Main;
    if (choice == m_stream) {
        return;
    }
    m_stream = choice;
    m_waiting.clear();
    m_awaitingFirstFrame = choice != StreamChoice::None;
    if (const auto more = m_host.log().stream.allows()) {
        HV_INFO("{} wants {}{}", peerName(),
                choice == StreamChoice::None   ? "no video"
                : choice == StreamChoice::Main ? "the main stream"
                                               : "the preview stream",
                *more);
    }
    m_host.streamChanged(*this);
}

// --- writing ---------------------------------------------------------------------------------

void Receiver::offer(const OutgoingFrame& frame) {
    if (m_closed || m_stream == StreamChoice::None) {
        return;
    }
    m_awaitingFirstFrame = false;
    m_dropped.receiverTooSlow += m_waiting.push(frame) ? 1 : 0;
    guarded([this] { writeNext(); });
}

void Receiver::sendText(std::vector<std::uint8_t> message) {
    m_nextText = std::move(message);
    guarded([this] { writeNext(); });
}

void Receiver::writeNext() {
    if (m_closed || writing()) {
        return;
    }
    if (!m_nextText.empty()) {
        m_text.swap(m_nextText);
        m_nextText.clear();
        m_unwritten = {asio::buffer(m_text), asio::const_buffer()};
    } else if (!m_waiting.empty()) {
        m_inFlight = m_waiting.pop();
        const auto head = m_inFlight.head.view();
        m_unwritten = {asio::const_buffer(head.data, head.size),
                       asio::const_buffer(m_inFlight.packet->data, m_inFlight.packet->size)};
    } else {
        return;
    }
    m_progress = std::chrono::steady_clock::now();
    writeSome();
}

void Receiver::writeSome() {
    // async_write() would split the frame into pieces of 64 KiB; this is one gathering write.
    m_socket.async_write_some(
        m_unwritten, [self = shared_from_this()](const asio::error_code& error, std::size_t size) {
            self->guarded([&] { self->onWritten(error, size); });
        });
}

void Receiver::onWritten(const asio::error_code& error, std::size_t size) {
    if (m_closed) {
        return;
    }
    if (error) {
        m_endedByPeer = true;
        close("writing failed: " + error.message());
        return;
    }
    m_progress = std::chrono::steady_clock::now();
    m_sentBytes += size;
    consume(m_unwritten, size);
    if (writing()) {
        writeSome();
        return;
    }
    if (m_inFlight.packet != nullptr) {
        m_inFlight.packet = nullptr;
        ++m_sentFrames;
    }
    writeNext();
}

}  // namespace ndi
