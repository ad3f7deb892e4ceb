#include "support/testreceiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "support/libavspeedhq.h"

namespace tests {
namespace wire = ndi::wire;
using std::chrono::steady_clock;

TestReceiver::TestReceiver(std::uint16_t port, int receiveBuffer)
    : m_socket(::socket(AF_INET, SOCK_STREAM, 0)) {
    if (receiveBuffer > 0) {
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof(receiveBuffer));
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        ::close(m_socket);
        m_socket = -1;
        m_closed = true;
    }
}

TestReceiver::~TestReceiver() {
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

void TestReceiver::vanish() {
    const linger atOnce{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
    ::close(m_socket);
    m_socket = -1;
    m_closed = true;
}

void TestReceiver::sayHello(bool low, const std::string& name) {
    sendText(R"(<ndi_version text="3" video="5" audio="4" sdk="5.5.3" platform="LINUX"/>)");
    sendText(wire::composeText(wire::IdentifyText{name}));
    sendText(wire::composeText(wire::QualityText{low}));
    sendText(
        R"(<ndi_enabled_streams video="true" audio="true" text="true" shq_skip_block="true" shq_short_dc="true"/>)");
}

bool TestReceiver::sendText(const std::string& xml) {
    const auto message = wire::makeTextMessage(xml);
    return sendBytes(message.data(), message.size());
}

bool TestReceiver::sendBytes(const void* bytes, std::size_t size) {
    const auto* at = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t sent = ::send(m_socket, at, size, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        at += sent;
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool TestReceiver::readMore(TimePoint until) {
    if (m_closed) {
        return false;
    }
    const auto left = std::chrono::ceil<Milliseconds>(until - steady_clock::now()).count();
    pollfd wait{m_socket, POLLIN, 0};
    if (::poll(&wait, 1, left > 0 ? static_cast<int>(left) : 0) <= 0) {
        return false;
    }
    std::array<std::uint8_t, 65536> bytes;
    const ssize_t size = ::recv(m_socket, bytes.data(), bytes.size(), 0);
    if (size <= 0) {
        m_closed = true;
        return false;
    }
    m_reader.append(bytes.data(), static_cast<std::size_t>(size));
    return true;
}

std::optional<ReceivedFrame> TestReceiver::readFrame() {
    wire::Message message;
    while (m_reader.next(message) == wire::MessageReader::Result::Ready) {
        if (message.header.kind == static_cast<std::uint16_t>(wire::Kind::Text)) {
            m_texts.push_back(wire::parseText(message.data));
        } else if (const auto info = wire::parseVideoInfo(message.info)) {
            const auto* const data = message.data.data;
            return ReceivedFrame{*info, {data, data + message.data.size}, steady_clock::now()};
        }
    }
    return std::nullopt;
}

std::optional<ReceivedFrame> TestReceiver::nextFrame(Milliseconds timeout) {
    const auto until = steady_clock::now() + timeout;
    auto frame = readFrame();
    while (!frame && readMore(until)) {
        frame = readFrame();
    }
    return frame;
}

const std::vector<wire::TextMessage>& TestReceiver::readTexts(std::size_t count,
                                                              Milliseconds timeout) {
    const auto until = steady_clock::now() + timeout;
    do {
        while (readFrame()) {
        }
    } while (m_texts.size() < count && readMore(until));
    return m_texts;
}

std::vector<ReceivedFrame> TestReceiver::frames(Milliseconds duration) {
    const auto until = steady_clock::now() + duration;
    std::vector<ReceivedFrame> result;
    for (;;) {
        const auto left = std::chrono::ceil<Milliseconds>(until - steady_clock::now());
        auto frame = left.count() > 0 ? nextFrame(left) : std::nullopt;
        if (!frame) {
            return result;
        }
        result.push_back(std::move(*frame));
    }
}

bool TestReceiver::isClosed(Milliseconds timeout) {
    const auto until = steady_clock::now() + timeout;
    while (readMore(until)) {
    }
    return m_closed;
}

std::optional<Planes> decode(const ReceivedFrame& frame) {
    const auto width = static_cast<int>(frame.info.width);
    const auto height = static_cast<int>(frame.info.height);
    try {
        return decodeWithLibav(frame.packet.data(), frame.packet.size(), width, height,
                               frame.info.fourCC);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

}  // namespace tests
