#include "ndi/output/server.h"

#include <algorithm>
#include <asio/ip/v6_only.hpp>
#include <asio/post.hpp>
#include <utility>

#include "mdns/netinterfaces.h"
#include "ndi/output/exceptiontext.h"
#include "ndi/output/socketoptions.h"
#include "support/log.h"

namespace ndi {

namespace {

using asio::ip::tcp;

constexpr std::chrono::seconds kTick(1);
constexpr std::chrono::seconds kAcceptPause(1);
constexpr std::chrono::milliseconds kStatusInterval(100);

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

/// False: `work` threw, which is logged.
template <typename Work>
bool Server::guarded(const char* what, Work work) noexcept {
    try {
        work();
        return true;
    } catch (...) {
        try {
            if (const auto more = m_exceptions.allows()) {
                HV_ERROR("{}: {} failed and is started anew: {}{}", m_instance, what,
                         exceptionText(), *more);
            }
        } catch (...) {  // no memory even for the log line
        }
        return false;
    }
}

// --- listening -------------------------------------------------------------------------------

std::string Server::listen() {
    // Where another program holds a port for itself alone, binding it is denied. Where every port
    // is denied, the system doesn't allow IPv6 at all.
    std::string missing;
    std::string error = bindFirstFree(true, missing);
    if (!error.empty()) {
        error = bindFirstFree(false, missing);
    }
    if (!error.empty()) {
        return error;
    }
    if (!missing.empty()) {
        HV_WARN("{}: listening on one IP version only, port {}: {}", m_instance, m_port, missing);
    }
    for (auto& listener : m_listeners) {
        accept(listener);
    }
    m_thread = std::thread([this] { run(); });
    return {};
}

std::string Server::bindFirstFree(bool deniedIsInUse, std::string& missing) {
    Binding binding;
    for (int port = m_limits.firstPort; port <= m_limits.lastPort; ++port) {
        binding = bind(static_cast<std::uint16_t>(port), deniedIsInUse);
        if (binding.error.empty()) {
            m_port = static_cast<std::uint16_t>(port);
            missing = binding.missing;
            return {};
        }
        m_listeners.clear();
        if (!binding.inUse) {
            return fmt::format("port {}: {}", port, binding.error);
        }
    }
    return fmt::format("every TCP port from {} to {} is in use, the last one: {}",
                       m_limits.firstPort, m_limits.lastPort, binding.error);
}

/// A machine may lack either IP version, or not let us use it; the other one serves then.
Server::Binding Server::bind(std::uint16_t port, bool deniedIsInUse) {
    const auto isInUse = [&](const asio::error_code& error) {
        return error == asio::error::address_in_use ||
               (deniedIsInUse && error == asio::error::access_denied);
    };
    const asio::error_code v4 = bind(tcp::endpoint(tcp::v4(), port));
    if (isInUse(v4)) {
        return {true, "IPv4: " + v4.message(), {}};
    }
    const asio::error_code v6 = bind(tcp::endpoint(tcp::v6(), port));
    if (isInUse(v6)) {
        return {true, "IPv6: " + v6.message(), {}};
    }
    std::string failures;
    for (const auto& [name, error] : {std::pair("IPv4", v4), std::pair("IPv6", v6)}) {
        // A machine without an IP version is nothing to report where the other one works.
        if (error && (error != asio::error::address_family_not_supported || (v4 && v6))) {
            failures +=
                fmt::format("{}{}: {}", failures.empty() ? "" : "; ", name, error.message());
        }
    }
    return v4 && v6 ? Binding{false, failures, {}} : Binding{false, {}, failures};
}

/// Adds a listener, unless that fails.
asio::error_code Server::bind(const tcp::endpoint& endpoint) {
    asio::error_code error;
    tcp::acceptor& acceptor = m_listeners.emplace_back(m_io).acceptor;
    acceptor.open(endpoint.protocol(), error);
    if (!error) {
        setListenerOptions(acceptor);
        if (endpoint.protocol() == tcp::v6()) {
            acceptor.set_option(asio::ip::v6_only(true), error);
        }
    }
    if (!error) {
        acceptor.bind(endpoint, error);
    }
    if (!error) {
        acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    if (error) {
        m_listeners.pop_back();
    }
    return error;
}

void Server::run() {
    while (!guarded("the I/O thread", [this] { m_io.run(); })) {
    }
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
            if (!m_stopping && !guarded("accepting a connection",
                                        [&] { onAccept(listener, error, std::move(socket)); })) {
                guarded("waiting for connections", [&] { acceptLater(listener); });
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
        if (const auto more = m_acceptErrors.allows()) {
            HV_ERROR("{}: accepting a connection failed: {}{}", m_instance, error.message(), *more);
        }
        acceptLater(listener);
    }
}

/// Most likely out of descriptors; new connections wait in the kernel's queue meanwhile.
void Server::acceptLater(Listener& listener) {
    listener.pause.expires_after(kAcceptPause);
    listener.pause.async_wait([this, &listener](const asio::error_code& /*error*/) {
        if (!m_stopping) {
            guarded("waiting for connections", [&] { accept(listener); });
        }
    });
}

void Server::admit(tcp::socket socket) {
    ReceiverHost& host = *this;
    const auto receiver = std::make_shared<Receiver>(std::move(socket), host, m_limits.receiver);
    if (const std::string reason = refusal(receiver->socket()); !reason.empty()) {
        if (const auto more = m_log.notAllowed.allows()) {
            HV_WARN("{}: refused {}: {}{}", m_instance, receiver->peerName(), reason, *more);
        }
        return;  // the last reference closes the connection
    }
    if (m_receivers.size() >= m_limits.receivers && !closeIdleReceiver()) {
        if (const auto more = m_log.refused.allows()) {
            HV_WARN("{}: refused {}: connection limit of {} reached{}", m_instance,
                    receiver->peerName(), m_limits.receivers, *more);
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

/// Why the settings don't allow the connection; empty when they do.
std::string Server::refusal(const tcp::socket& socket) const {
    asio::error_code error;
    const auto peer = socket.remote_endpoint(error).address();
    const auto local = socket.local_endpoint(error).address();
    if (error) {
        return "it is gone already";
    }
    if (!m_limits.allowed.empty() &&
        std::none_of(m_limits.allowed.begin(), m_limits.allowed.end(),
                     [&](const AddressRange& range) { return range.contains(peer); })) {
        return "its address is not in the setting allowedReceivers";
    }
    if (m_limits.interfaces.empty()) {
        return {};
    }
    for (const std::string& entry : m_limits.interfaces) {
        const auto range = AddressRange::parse(entry);
        if (range && range->contains(local)) {
            return {};
        }
    }
    // Asked for each time: addresses come and go.
    for (const auto& each :
         mdns::selectInterfaces(mdns::multicastInterfaces(), m_limits.interfaces)) {
        for (const auto& one : each.addresses) {
            if (AddressRange::parse(one.address.to_string())->contains(local)) {
                return {};
            }
        }
    }
    return fmt::format("it connects to {}, which is no interface of the setting networkInterfaces",
                       local.to_string());
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
        if (!cancelled && !guarded("looking after receivers", [this] { tick(); })) {
            m_ticking = false;  // the next receiver starts it
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
            guarded("reporting the status", [this] {
                publishStatus();
                m_callbacks.onChange();
            });
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
    if (const auto more = m_log.joined.allows()) {
        HV_INFO("{}: {} joined, receivers now: {}{}", m_instance, receiver.peerName(),
                joinedCount(), *more);
    }
}

void Server::left(Receiver& receiver, const std::string& reason) {
    const auto self = std::find_if(m_receivers.begin(), m_receivers.end(),
                                   [&](const auto& other) { return other.get() == &receiver; });
    const auto keepAlive = *self;
    m_receivers.erase(self);
    streamChanged(receiver);
    tallyChanged(receiver);
    const bool joined = receiver.hasJoined();
    support::LogLimit& limit = !receiver.endedByPeer() ? m_log.closed
                               : joined                ? m_log.left
                                                       : m_log.leftEarly;
    const auto more = limit.allows();
    if (!more) {
        return;
    }
    if (joined) {
        HV_INFO("{}: {} left: {}; {}; receivers now: {}{}", m_instance, receiver.peerName(), reason,
                receiver.summary(), joinedCount(), *more);
    } else {
        HV_INFO("{}: {} left before asking for a stream: {}{}", m_instance, receiver.peerName(),
                reason, *more);
    }
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
    if (const auto more = m_log.onAir.allows()) {
        HV_INFO("{}: on program: {}, in preview: {}{}", m_instance, echo.onProgram ? "yes" : "no",
                echo.onPreview ? "yes" : "no", *more);
    }
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
        try {
            asio::post(m_io, Wake{this});
        } catch (...) {
            m_wakePending = false;  // the next frame tries again
            throw;
        }
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
