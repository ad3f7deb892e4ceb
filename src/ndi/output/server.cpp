#include "ndi/output/server.h"

#include <algorithm>
#include <asio/ip/v6_only.hpp>
#include <asio/post.hpp>
#include <utility>

#include "ndi/output/socketoptions.h"
#include "support/log.h"

namespace ndi {
namespace {

using asio::ip::tcp;

constexpr std::chrono::seconds kTick(1);
constexpr std::chrono::seconds kAcceptPause(1);
constexpr std::chrono::milliseconds kStatusInterval(100);

/// The machine does not have this IP version.
bool isMissingProtocol(const asio::error_code& error) {
    return error == asio::error::address_family_not_supported ||
           error == std::errc::address_not_available;
}

void append(std::vector<std::uint8_t>& message, const std::vector<std::uint8_t>& more) {
    message.insert(message.end(), more.begin(), more.end());
}

}  // namespace

/// The handler that makes the I/O thread empty its mailboxes. asio recycles memory only for
/// handlers posted from one of its own threads; this one is posted by the sending thread, with
/// every frame.
struct Server::Wake {
    using allocator_type = std::pmr::polymorphic_allocator<std::byte>;

    Server* server;

    [[nodiscard]] allocator_type get_allocator() const {
        return allocator_type(&server->m_wakeMemory);
    }
    void operator()() const { server->deliver(); }
};

Server::Server(std::string instance, const ServerLimits& limits, Listeners listeners)
    : m_limits(limits), m_callbacks(std::move(listeners)), m_instance(std::move(instance)) {}

Server::~Server() = default;

// --- listening -------------------------------------------------------------------------------

std::string Server::listen() {
    std::string reason;
    for (int port = m_limits.firstPort; port <= m_limits.lastPort; ++port) {
        bool inUse = false;
        reason = bindPort(static_cast<std::uint16_t>(port), inUse);
        if (reason.empty()) {
            m_port = static_cast<std::uint16_t>(port);
            for (auto& listener : m_listeners) {
                accept(listener);
            }
            m_thread = std::thread([this] { m_io.run(); });
            return {};
        }
        if (!inUse) {
            return reason;
        }
    }
    return fmt::format("every TCP port from {} to {} is in use, the last one: {}",
                       m_limits.firstPort, m_limits.lastPort, reason);
}

std::string Server::bindPort(std::uint16_t port, bool& inUse) {
    std::string missing;
    for (const auto& protocol : {tcp::v4(), tcp::v6()}) {
        asio::error_code error;
        tcp::acceptor& acceptor = m_listeners.emplace_back(m_io).acceptor;
        acceptor.open(protocol, error);
        if (!error) {
            setListenerOptions(acceptor);
            if (protocol == tcp::v6()) {
                acceptor.set_option(asio::ip::v6_only(true), error);
            }
        }
        if (!error) {
            acceptor.bind(tcp::endpoint(protocol, port), error);
        }
        if (!error) {
            acceptor.listen(asio::socket_base::max_listen_connections, error);
        }
        const char* const name = protocol == tcp::v4() ? "IPv4" : "IPv6";
        if (!error) {
            continue;
        }
        if (isMissingProtocol(error)) {
            m_listeners.pop_back();
            missing += fmt::format("{} {}: {}; ", name, port, error.message());
        } else {
            inUse = error == asio::error::address_in_use || error == asio::error::access_denied;
            m_listeners.clear();
            return fmt::format("{} port {}: {}", name, port, error.message());
        }
    }
    return m_listeners.empty() ? missing : std::string();
}

void Server::stop() {
    if (!m_thread.joinable()) {
        return;
    }
    asio::post(m_io, [this] {
        m_stopping = true;
        m_listeners.clear();
        m_ticker.cancel();
        m_statusTimer.cancel();
        while (!m_receivers.empty()) {
            m_receivers.back()->close("the source is withdrawn");
        }
    });
    m_thread.join();
}

void Server::accept(Listener& listener) {
    listener.acceptor.async_accept(
        [this, &listener](const asio::error_code& error, tcp::socket socket) {
            if (!m_stopping) {
                onAccept(listener, error, std::move(socket));
            }
        });
}

void Server::onAccept(Listener& listener, const asio::error_code& error, tcp::socket socket) {
    if (!error) {
        admit(std::move(socket));
        accept(listener);
    } else if (error == asio::error::connection_aborted) {
        accept(listener);
    } else {
        unsigned suppressed = 0;
        if (m_acceptErrors.allows(suppressed)) {
            HV_ERROR("{}: accepting a connection failed: {} ({} more times since the last line)",
                     m_instance, error.message(), suppressed);
        }
        acceptLater(listener);
    }
}

/// Most likely out of descriptors; new connections wait in the kernel's queue meanwhile.
void Server::acceptLater(Listener& listener) {
    listener.pause.expires_after(kAcceptPause);
    listener.pause.async_wait([this, &listener](const asio::error_code& /*error*/) {
        if (!m_stopping) {
            accept(listener);
        }
    });
}

void Server::admit(tcp::socket socket) {
    ReceiverHost& host = *this;
    const auto receiver = std::make_shared<Receiver>(std::move(socket), host, m_limits.receiver);
    if (m_receivers.size() >= m_limits.receivers && !closeIdleReceiver()) {
        unsigned suppressed = 0;
        if (m_refusals.allows(suppressed)) {
            HV_WARN("{}: refused {}: connection limit of {} reached ({} more since the last line)",
                    m_instance, receiver->peerName(), m_limits.receivers, suppressed);
        }
        return;  // the last reference closes the connection
    }
    m_receivers.push_back(receiver);
    receiver->start(greeting());
    if (!m_ticking) {
        m_ticking = true;
        tick();
    }
}

bool Server::closeIdleReceiver() {
    const auto idle = std::find_if(m_receivers.begin(), m_receivers.end(),
                                   [](const auto& receiver) { return !receiver->hasJoined(); });
    if (idle == m_receivers.end()) {
        return false;
    }
    const auto receiver = *idle;
    receiver->close("replaced by a new connection, connection limit reached");
    return true;
}

std::vector<std::uint8_t> Server::greeting() const {
    auto message = wire::makeTextMessage(wire::composeText(wire::VersionText{}));
    append(message, wire::makeTextMessage(wire::composeText(wire::IdentifyText{m_instance})));
    append(message, wire::makeTextMessage(wire::composeText(m_echo)));
    return message;
}

/// Once a second while there are receivers: checks their time limits and measures their rates.
void Server::tick() {
    const auto now = std::chrono::steady_clock::now();
    for (std::size_t i = m_receivers.size(); i-- > 0;) {
        const auto receiver = m_receivers[i];  // a copy: it may remove itself
        receiver->checkTime(now);
        receiver->measureRate(now);
    }
    publishStatus();
    if (m_receivers.empty()) {
        m_ticking = false;
        return;
    }
    m_ticker.expires_after(kTick);
    m_ticker.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled) {
            tick();
        }
    });
}

// --- status ----------------------------------------------------------------------------------

void Server::rename(std::string instance) {
    asio::post(m_io,
               [this, name = std::move(instance)]() mutable { m_instance = std::move(name); });
}

/// Changes that follow each other closely are published together.
void Server::changed() {
    if (m_statusChanged || m_stopping) {
        return;
    }
    m_statusChanged = true;
    m_statusTimer.expires_at(
        std::max(std::chrono::steady_clock::now(), m_statusTimer.expiry() + kStatusInterval));
    m_statusTimer.async_wait([this](const asio::error_code& cancelled) {
        m_statusChanged = false;
        if (!cancelled) {
            publishStatus();
            m_callbacks.onChange();
        }
    });
}

void Server::publishStatus() {
    ServerStatus status;
    for (const auto& receiver : m_receivers) {
        if (receiver->hasJoined()) {
            status.receivers.push_back(receiver->status());
        }
    }
    status.onProgram = m_echo.onProgram;
    status.onPreview = m_echo.onPreview;
    m_status.set(std::move(status));
}

// --- reports of the receivers -------------------------------------------------------------------

void Server::joined(Receiver& receiver) {
    changed();
    HV_INFO("{}: {} joined, receivers now: {}", m_instance, receiver.peerName(), joinedCount());
}

void Server::left(Receiver& receiver, const std::string& reason) {
    if (receiver.hasJoined()) {
        HV_INFO("{}: {} left: {}; {}; receivers now: {}", m_instance, receiver.peerName(), reason,
                receiver.summary(), joinedCount() - 1);
    } else {
        unsigned suppressed = 0;
        if (m_connectionLogLimit.allows(suppressed)) {
            HV_INFO("{}: {} left before asking for a stream: {} ({} more since the last line)",
                    m_instance, receiver.peerName(), reason, suppressed);
        }
    }
    const auto self = std::find_if(m_receivers.begin(), m_receivers.end(),
                                   [&](const auto& other) { return other.get() == &receiver; });
    const auto keepAlive = *self;
    m_receivers.erase(self);
    streamChanged(receiver);
    tallyChanged(receiver);
}

void Server::streamChanged(Receiver& receiver) {
    changed();
    int main = 0;
    int preview = 0;
    for (const auto& other : m_receivers) {
        main += other->stream() == StreamChoice::Main ? 1 : 0;
        preview += other->stream() == StreamChoice::Preview ? 1 : 0;
    }
    m_wantMain = main;
    m_wantPreview = preview;
    if (receiver.awaitingFirstFrame()) {
        ++m_joinCount;
        m_callbacks.onJoin();
    }
}

void Server::tallyChanged(Receiver& /*receiver*/) {
    changed();
    wire::TallyEchoText echo;
    for (const auto& receiver : m_receivers) {
        echo.onProgram = echo.onProgram || receiver->tally().onProgram;
        echo.onPreview = echo.onPreview || receiver->tally().onPreview;
    }
    if (echo.onProgram == m_echo.onProgram && echo.onPreview == m_echo.onPreview) {
        return;
    }
    m_echo = echo;
    HV_INFO("{}: on program: {}, in preview: {}", m_instance, echo.onProgram ? "yes" : "no",
            echo.onPreview ? "yes" : "no");
    const auto message = wire::makeTextMessage(wire::composeText(echo));
    for (const auto& receiver : m_receivers) {
        receiver->sendText(message);
    }
}

std::size_t Server::joinedCount() const {
    return static_cast<std::size_t>(
        std::count_if(m_receivers.begin(), m_receivers.end(),
                      [](const auto& receiver) { return receiver->hasJoined(); }));
}

// --- frames --------------------------------------------------------------------------------

speedhq::Streams Server::wanted() const {
    return {m_wantMain > 0, m_wantPreview > 0};
}

void Server::publish(const OutgoingFrame& main, const OutgoingFrame& preview) {
    {
        const std::lock_guard lock(m_mailMutex);
        post(m_main, main);
        post(m_preview, preview);
    }
    wake();
}

void Server::post(Mailbox& mailbox, const OutgoingFrame& frame) {
    if (frame.packet != nullptr) {
        mailbox.late += mailbox.frames.push(frame) ? 1 : 0;
    }
}

void Server::wake() {
    if (!m_wakePending.exchange(true)) {
        asio::post(m_io, Wake{this});
    }
}

void Server::deliver() {
    m_wakePending = false;
    {
        const std::lock_guard lock(m_mailMutex);
        std::swap(m_main, m_takenMain);
        std::swap(m_preview, m_takenPreview);
    }
    deliver(m_takenMain, StreamChoice::Main);
    deliver(m_takenPreview, StreamChoice::Preview);
}

/// Leaves the mailbox empty.
void Server::deliver(Mailbox& mailbox, StreamChoice stream) {
    for (const OutgoingFrame& frame : mailbox.frames) {
        for (const auto& receiver : m_receivers) {
            if (receiver->stream() == stream &&
                (frame.audience == Audience::All || receiver->awaitingFirstFrame())) {
                receiver->countLate(mailbox.late);
                receiver->offer(frame);
            }
        }
        mailbox.late = 0;
    }
    mailbox.frames.clear();
}

}  // namespace ndi
