#pragma once
// The receivers of one source, and the thread that sends to them.

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <memory_resource>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ndi/output/addressrange.h"
#include "ndi/output/latestvalue.h"
#include "ndi/output/outgoingframe.h"
#include "ndi/output/receiver.h"
#include "support/loglimit.h"

namespace ndi {

/// What the server reports about its receivers.
struct ServerStatus {
    std::vector<ReceiverStatus> receivers;  ///< Those that completed the handshake, oldest first.
    bool onProgram = false;
    bool onPreview = false;
};

struct ServerLimits {
    /// The server listens on the first of these ports that is free.
    std::uint16_t firstPort = 5961;
    std::uint16_t lastPort = 6960;
    /// The connection limit. A further connection replaces the oldest one that has not asked for a
    /// stream; if there is none, it is refused.
    std::size_t receivers = 250;
    /// Where receivers may connect from, and to which interfaces; empty: from and to everywhere.
    std::vector<AddressRange> allowed;
    std::vector<std::string> interfaces;
    ReceiverLimits receiver;
};

/// A TCP server with one I/O thread. publish(), wanted() and joinCount() may be called from any
/// thread between listen() and stop(); they never wait for the network. What throws on the I/O
/// thread is logged and started anew; the others' connections go on.
class Server : private ReceiverHost {
public:
    struct Listeners {
        /// joinCount() has grown.
        std::function<void()> onJoin;
        /// status() has changed otherwise than by a counter; ten times a second at most.
        std::function<void()> onChange;
    };

    /// The listeners are called on the I/O thread; they must not block.
    Server(std::string instance, const ServerLimits& limits, Listeners listeners);
    /// stop() must have returned.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Binds a port on IPv4 and IPv6, or on the one of them that works, and starts the thread.
    /// Empty on success, else the error.
    [[nodiscard]] std::string listen();
    [[nodiscard]] std::uint16_t port() const { return m_port; }

    /// Closes every connection and ends the thread.
    void stop();

    /// The streams that at least one receiver wants now.
    [[nodiscard]] speedhq::Streams wanted() const;

    /// How many times a receiver has started to wait for its first frame. Read it before wanted():
    /// a receiver that joins between the two calls then shows in the next value.
    [[nodiscard]] std::uint64_t joinCount() const { return m_joinCount; }

    /// The receivers and their counters, at most a second old. Any thread; waits neither for the
    /// I/O thread nor for a send.
    [[nodiscard]] ServerStatus status() { return m_status.get(); }

    /// Receivers that connect from now on are told this name. Any thread.
    void rename(std::string instance);

    /// Queues the frames for their receivers. A frame without a packet is ignored.
    void publish(const OutgoingFrame& main, const OutgoingFrame& preview);

private:
    /// One stream's frames between the sending thread and the I/O thread.
    struct Mailbox {
        WaitingFrames frames;
        std::uint64_t late = 0;  ///< Frames dropped here: I/O thread late.
    };
    struct Wake;

    /// The listening socket of one IP version.
    struct Listener {
        explicit Listener(asio::io_context& io) : acceptor(io), pause(io) {}
        asio::ip::tcp::acceptor acceptor;
        asio::steady_timer pause;
    };

    void streamChanged(Receiver& receiver) override;
    void tallyChanged(Receiver& receiver) override;
    void changed() override;
    void joined(Receiver& receiver) override;
    void left(Receiver& receiver, const std::string& reason) override;
    [[nodiscard]] ReceiverLog& log() override { return m_log; }

    /// What became of a port.
    struct Binding {
        bool inUse = false;   ///< The next port may do.
        std::string error;    ///< Empty: it is bound, on one IP version at least.
        std::string missing;  ///< Why it is bound on one IP version only.
    };
    [[nodiscard]] std::string bindFirstFree(bool deniedIsInUse, std::string& missing);
    [[nodiscard]] Binding bind(std::uint16_t port, bool deniedIsInUse);
    [[nodiscard]] asio::error_code bind(const asio::ip::tcp::endpoint& endpoint);
    void run();
    template <typename Work>
    bool guarded(const char* what, Work work) noexcept;
    void accept(Listener& listener);
    void onAccept(Listener& listener, const asio::error_code& error, asio::ip::tcp::socket socket);
    void acceptLater(Listener& listener);
    void admit(asio::ip::tcp::socket socket);
    [[nodiscard]] std::string refusal(const asio::ip::tcp::socket& socket) const;
    [[nodiscard]] bool closeIdleReceiver();
    [[nodiscard]] std::vector<std::uint8_t> greeting() const;
    void tick();
    void publishStatus();

    static void post(Mailbox& mailbox, const OutgoingFrame& frame);
    void wake();
    void deliver();
    void deliver(Mailbox& mailbox, StreamChoice stream);
    [[nodiscard]] std::size_t joinedCount() const;

    const ServerLimits m_limits;
    const Listeners m_callbacks;
    std::uint16_t m_port = 0;

    // Shared between threads.
    std::mutex m_mailMutex;
    Mailbox m_main;
    Mailbox m_preview;
    std::pmr::synchronized_pool_resource m_wakeMemory;
    std::atomic<bool> m_wakePending{false};
    std::atomic<int> m_wantMain{0};
    std::atomic<int> m_wantPreview{0};
    std::atomic<std::uint64_t> m_joinCount{0};

    LatestValue<ServerStatus> m_status;

    // I/O thread only, once it runs.
    std::string m_instance;
    asio::io_context m_io{1};
    bool m_stopping = false;  ///< The listeners are gone.
    std::list<Listener> m_listeners;
    asio::steady_timer m_ticker{m_io};
    bool m_ticking = false;
    asio::steady_timer m_statusTimer{m_io};
    bool m_statusChanged = false;
    std::vector<std::shared_ptr<Receiver>> m_receivers;  ///< In order of arrival.
    wire::TallyEchoText m_echo;
    Mailbox m_takenMain;
    Mailbox m_takenPreview;
    ReceiverLog m_log;
    support::LogLimit m_acceptErrors;
    support::LogLimit m_exceptions;

    std::thread m_thread;
};

}  // namespace ndi
