#include "monitor/connection.h"

#include <fmt/format.h>

#include <asio/buffer.hpp>
#include <asio/write.hpp>
#include <chrono>

#include "ndi/wire/endpoint.h"
#include "ndi/wire/sourcename.h"
#include "ndi/wire/textmessage.h"

namespace monitor {
namespace {

namespace wire = ndi::wire;
using asio::ip::tcp;

constexpr std::chrono::seconds kConnectTimeout{5};

ArrivedFrame arrivingNow(const wire::VideoInfo& video, std::size_t bytes) {
    using namespace std::chrono;
    const auto wallClock = system_clock::now().time_since_epoch();
    const auto monotonic = steady_clock::now().time_since_epoch();
    ArrivedFrame frame;
    frame.arrivedUs = duration_cast<microseconds>(monotonic).count();
    frame.wallClock100ns = duration_cast<nanoseconds>(wallClock).count() / 100;
    frame.timestamp100ns = video.timestamp;
    frame.period100ns = 1e7 * video.rateDenominator / video.rateNumerator;
    frame.bytes = bytes;
    return frame;
}

std::string tallyText(const Request& request) {
    wire::TallyText tally;
    tally.onProgram = request.onProgram;
    tally.onPreview = request.onPreview;
    return composeText(tally);
}

std::string qualityText(const Request& request) {
    wire::QualityText quality;
    quality.low = request.lowQuality;
    return composeText(quality);
}

}  // namespace

Connection::Connection(asio::io_context& context, Listener& listener)
    : m_context(context), m_listener(listener), m_socket(context), m_timeout(context) {}

void Connection::start(std::vector<tcp::endpoint> endpoints, const Request& request) {
    m_endpoints = std::move(endpoints);
    m_request = request;
    connectNext();
}

void Connection::connectNext() {
    if (m_nextEndpoint == m_endpoints.size()) {
        fail(m_connectErrors);
        return;
    }
    const auto endpoint = m_endpoints[m_nextEndpoint++];
    m_socket = tcp::socket(m_context);
    m_timeout.expires_after(kConnectTimeout);
    m_timeout.async_wait([this, attempt = m_nextEndpoint](asio::error_code error) {
        if (!error && !m_connected && !m_closed && attempt == m_nextEndpoint) {
            asio::error_code ignored;
            m_socket.close(ignored);  // Ends the attempt with operation_aborted.
        }
    });
    m_socket.async_connect(endpoint, [this, endpoint](asio::error_code error) {
        if (m_closed) {
            return;
        }
        if (!error) {
            connected(endpoint);
            return;
        }
        if (error == asio::error::operation_aborted) {
            error = asio::error::timed_out;
        }
        m_connectErrors +=
            fmt::format("{}connecting to {} failed: {}", m_connectErrors.empty() ? "" : "; ",
                        wire::endpointText(endpoint), error.message());
        connectNext();
    });
}

void Connection::connected(const tcp::endpoint& endpoint) {
    m_connected = true;
    m_timeout.cancel();
    asio::error_code ignored;
    m_socket.set_option(tcp::no_delay(true), ignored);
    wire::EnabledStreamsText streams;
    streams.video = true;
    streams.text = true;
    send(composeText(wire::VersionText{}));
    send(composeText(wire::IdentifyText{wire::instanceName(wire::machineName(), "ndimonitor")}));
    send(qualityText(m_request));
    send(composeText(streams));
    send(tallyText(m_request));
    m_listener.onConnected(wire::endpointText(endpoint));
    if (!m_closed) {
        readMore();
    }
}

void Connection::request(const Request& request) {
    const Request before = m_request;
    m_request = request;
    if (!m_connected || m_closed) {
        return;
    }
    if (before.lowQuality != request.lowQuality) {
        send(qualityText(request));
    }
    if (before.onProgram != request.onProgram || before.onPreview != request.onPreview) {
        send(tallyText(request));
    }
}

void Connection::send(const std::string& text) {
    m_toSend.push_back(wire::makeTextMessage(text));
    if (m_toSend.size() == 1) {
        sendNext();
    }
}

void Connection::sendNext() {
    asio::async_write(m_socket, asio::buffer(m_toSend.front()),
                      [this](asio::error_code error, std::size_t) {
                          if (m_closed) {
                              return;
                          }
                          if (error) {
                              fail("sending failed: " + error.message());
                              return;
                          }
                          m_toSend.pop_front();
                          if (!m_toSend.empty()) {
                              sendNext();
                          }
                      });
}

void Connection::readMore() {
    m_socket.async_read_some(
        asio::buffer(m_buffer), [this](asio::error_code error, std::size_t size) {
            if (m_closed) {
                return;
            }
            if (error) {
                fail(error == asio::error::eof ? "the source closed the connection"
                                               : "receiving failed: " + error.message());
                return;
            }
            m_reader.append(m_buffer.data(), size);
            handleMessages();
            if (!m_closed) {
                readMore();
            }
        });
}

void Connection::handleMessages() {
    wire::Message message;
    auto result = wire::MessageReader::Result::More;
    while (!m_closed && (result = m_reader.next(message)) == wire::MessageReader::Result::Ready) {
        if (!message.readable) {
            continue;  // Of a later protocol version than this receiver announces.
        }
        if (message.header.kind == static_cast<std::uint16_t>(wire::Kind::Video)) {
            handleVideo(message);
        } else if (message.header.kind == static_cast<std::uint16_t>(wire::Kind::Text)) {
            handleText(message);
        }
    }
    if (!m_closed && result == wire::MessageReader::Result::Garbage) {
        fail(fmt::format("the source sent garbage: {}", m_reader.error()));
    }
}

void Connection::handleVideo(const wire::Message& message) {
    const auto video = wire::parseVideoInfo(message.info);
    if (video) {
        m_listener.onVideo(*video, arrivingNow(*video, message.data.size), message.data);
    } else {
        m_listener.onDamagedVideo();
    }
}

void Connection::handleText(const wire::Message& message) {
    const auto text = wire::parseText(message.data);
    if (const auto* echo = std::get_if<wire::TallyEchoText>(&text)) {
        m_listener.onTally(echo->onProgram, echo->onPreview);
    }
}

void Connection::fail(const std::string& reason) {
    if (!m_closed) {
        close();
        m_listener.onClosed(reason);
    }
}

void Connection::close() {
    m_closed = true;
    m_timeout.cancel();
    asio::error_code ignored;
    m_socket.shutdown(tcp::socket::shutdown_both, ignored);
    m_socket.close(ignored);
}

}  // namespace monitor
