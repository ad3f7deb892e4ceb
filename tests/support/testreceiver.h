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
    /// Connects to the loopback address; `receiveBuffer` > 0 makes the kernel hold little.
    explicit TestReceiver(std::uint16_t port, int receiveBuffer = 0);
    ~TestReceiver();
    TestReceiver(const TestReceiver&) = delete;
    TestReceiver& operator=(const TestReceiver&) = delete;

    [[nodiscard]] bool connected() const { return m_socket >= 0; }

    /// What a real receiver says first.
    void sayHello(bool low = false, const std::string& name = "TESTER (viewer)");
    /// False: the connection is gone.
    bool sendText(const std::string& xml);
    bool sendBytes(const void* bytes, std::size_t size);

    /// The next frame; texts on the way there are kept in texts().
    [[nodiscard]] std::optional<ReceivedFrame> nextFrame(Milliseconds timeout = kPatience);
    /// Reads until `count` texts are there, or time is up, or the connection is gone.
    const std::vector<ndi::wire::TextMessage>& readTexts(std::size_t count,
                                                         Milliseconds timeout = kPatience);
    /// Reads frames for that long.
    [[nodiscard]] std::vector<ReceivedFrame> frames(Milliseconds duration);
    /// Reads until the other side closes; false: it does not.
    [[nodiscard]] bool isClosed(Milliseconds timeout = kPatience);

    /// Ends the connection with a reset, in the middle of whatever is on its way.
    void vanish();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// False: time is up, or the connection is gone (m_closed).
    [[nodiscard]] bool readMore(TimePoint until);
    /// The next frame of what was read; texts before it are put aside.
    [[nodiscard]] std::optional<ReceivedFrame> readFrame();

    int m_socket = -1;
    bool m_closed = false;
    ndi::wire::MessageReader m_reader{ndi::wire::Limits::forReceiver()};
    std::vector<ndi::wire::TextMessage> m_texts;
};

}  // namespace tests
