#pragma once
// A connection to a source: requests its video and delivers what arrives.

#include <array>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "monitor/statistics.h"
#include "ndi/wire/messagereader.h"
#include "ndi/wire/videoinfo.h"

namespace monitor {

/// What a receiver requests from a source.
struct Request {
    bool lowQuality = false;  ///< The preview stream.
    bool onProgram = false;   ///< Tally.
    bool onPreview = false;
};

/// Runs on the io_context's thread, where all its functions are to be called. Nothing is called
/// back after destruction if the io_context does not run any more.
class Connection {
public:
    /// What happens on the connection.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void onConnected(const std::string& address) = 0;
        /// `packet` is valid during the call.
        virtual void onVideo(const ndi::wire::VideoInfo& video, const ArrivedFrame& frame,
                             ndi::wire::ByteView packet) = 0;
        /// A video message that can't be read.
        virtual void onDamagedVideo() = 0;
        /// The tally of all receivers of this source together.
        virtual void onTally(bool onProgram, bool onPreview) = 0;
        /// The connection failed or ended, for this reason. The last call; close() causes none.
        virtual void onClosed(const std::string& reason) = 0;
    };

    Connection(asio::io_context& context, Listener& listener);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Connects to the first of the endpoints that accepts within five seconds. To be called once.
    void start(std::vector<asio::ip::tcp::endpoint> endpoints, const Request& request);

    /// Changes the request.
    void request(const Request& request);

    void close();

private:
    void connectNext();
    void connected(const asio::ip::tcp::endpoint& endpoint);
    void send(const std::string& text);
    void sendNext();
    void readMore();
    void handleMessages();
    void handleVideo(const ndi::wire::Message& message);
    void handleText(const ndi::wire::Message& message);
    void fail(const std::string& reason);

    asio::io_context& m_context;
    Listener& m_listener;
    asio::ip::tcp::socket m_socket;
    asio::steady_timer m_timeout;
    std::vector<asio::ip::tcp::endpoint> m_endpoints;
    std::size_t m_nextEndpoint = 0;
    std::string m_connectErrors;
    Request m_request;
    std::deque<std::vector<std::uint8_t>> m_toSend;  ///< The first is being sent.
    std::array<std::uint8_t, 256 * 1024> m_buffer{};
    ndi::wire::MessageReader m_reader{ndi::wire::Limits::forReceiver()};
    bool m_connected = false;
    bool m_closed = false;
};

}  // namespace monitor
