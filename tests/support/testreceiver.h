#pragma once
// A minimal receiver: blocking, one connection. Tests can make it violate the protocol.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ndi/wire/messagereader.h"
#include "ndi/wire/textmessage.h"
#include "ndi/wire/videoinfo.h"
#include "support/eventually.h"
#include "support/libavspeedhq.h"

namespace tests {

using Milliseconds = std::chrono::milliseconds;

struct ReceivedFrame {
    ndi::wire::VideoInfo info;
    std::vector<std::uint8_t> packet;
    std::chrono::steady_clock::time_point arrival;
};

/// Decodes a packet with libavcodec. Empty when libavcodec refuses it or finds another size than
/// the frame's info gives.
[[nodiscard]] std::optional<Planes> decode(const ReceivedFrame& frame);

class TestReceiver {
public:
    /// Connects to the loopback address. `receiveBuffer` > 0 limits the kernel's receive buffer.
    explicit TestReceiver(std::uint16_t port, int receiveBuffer = 0);
    ~TestReceiver();
    TestReceiver(const TestReceiver&) = delete;
    TestReceiver& operator=(const TestReceiver&) = delete;

    [[nodiscard]] bool connected() const { return m_socket >= 0; }

    /// Sends the texts that a receiver begins with.
    void sayHello(bool low = false, const std::string& name = "TESTER (viewer)");
    /// False: the connection is closed.
    bool sendText(const std::string& xml);
    bool sendBytes(const void* bytes, std::size_t size);

    /// The next frame. Keeps the texts before it for readTexts().
    [[nodiscard]] std::optional<ReceivedFrame> nextFrame(Milliseconds timeout = kPatience);
    /// Reads until there are `count` texts, `timeout` passes or the connection is closed.
    const std::vector<ndi::wire::TextMessage>& readTexts(std::size_t count,
                                                         Milliseconds timeout = kPatience);
    /// Reads frames for `duration`.
    [[nodiscard]] std::vector<ReceivedFrame> frames(Milliseconds duration);
    /// Reads until the peer closes the connection. False: not within `timeout`.
    [[nodiscard]] bool isClosed(Milliseconds timeout = kPatience);

    /// Resets the connection, whatever is in flight.
    void vanish();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// False: timeout, or the connection is closed (m_closed).
    [[nodiscard]] bool readMore(TimePoint until);
    /// The next frame of the bytes read so far. Moves texts before it to m_texts.
    [[nodiscard]] std::optional<ReceivedFrame> readFrame();

    int m_socket = -1;
    bool m_closed = false;
    ndi::wire::MessageReader m_reader{ndi::wire::Limits::forReceiver()};
    std::vector<ndi::wire::TextMessage> m_texts;
};

}  // namespace tests
