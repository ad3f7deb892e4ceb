#include "mdns/embeddedpublisher.h"

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <random>
#include <utility>

#include "mdns/hostlabel.h"
#include "mdns/multicastsockets.h"
#include "support/hostname.h"
#include "support/log.h"

namespace mdns {
namespace {

using Clock = std::chrono::steady_clock;

class RealNetwork : public Network {
public:
    RealNetwork(asio::io_context& context, std::vector<std::string> wanted,
                MulticastSockets::Handler handler)
        : m_wanted(std::move(wanted)), m_sockets(context, std::move(handler)) {}

    [[nodiscard]] std::vector<NetInterface> interfaces() override {
        return selectInterfaces(multicastInterfaces(), m_wanted);
    }

    std::vector<Link> open(const std::vector<NetInterface>& interfaces) override {
        return m_sockets.setInterfaces(interfaces);
    }

    bool send(const Responder::Outgoing& datagram) override {
        return datagram.to ? m_sockets.sendTo(datagram.link, *datagram.to, datagram.bytes)
                           : m_sockets.sendToGroup(datagram.link, datagram.bytes);
    }

    [[nodiscard]] std::string lastError() const override { return m_sockets.lastError(); }

private:
    const std::vector<std::string> m_wanted;
    MulticastSockets m_sockets;
};

/// Everything that the publisher's thread alone uses.
class Engine {
public:
    Engine(asio::io_context& context, ServiceInfo service, InstanceNames& names,
           const std::vector<std::string>& interfaces, EmbeddedService::OnStatus onStatus)
        : m_network(context, interfaces,
                    [this](const Link& link, const asio::ip::udp::endpoint& from,
                           const std::uint8_t* bytes, std::size_t size) {
                        m_service.receive(link, from, bytes, size, Clock::now());
                        setTimer();
                    }),
          m_service(std::move(service), names, m_network, std::move(onStatus),
                    std::random_device{}()),
          m_dueTimer(context),
          m_interfaceTimer(context) {
        updateInterfaces();
    }

    void sayGoodbye() { m_service.sayGoodbye(); }

private:
    void updateInterfaces() {
        m_service.updateInterfaces(Clock::now(), std::chrono::system_clock::now());
        setTimer();
        m_interfaceTimer.expires_after(EmbeddedService::kInterfaceInterval);
        m_interfaceTimer.async_wait([this](asio::error_code error) {
            if (!error) {
                updateInterfaces();
            }
        });
    }

    void setTimer() {
        const auto due = m_service.nextDue();
        if (due == Time::max()) {
            m_dueTimer.cancel();
            return;
        }
        m_dueTimer.expires_at(due);
        m_dueTimer.async_wait([this](asio::error_code error) {
            if (!error) {
                m_service.advance(Clock::now());
                setTimer();
            }
        });
    }

    RealNetwork m_network;
    EmbeddedService m_service;
    asio::steady_timer m_dueTimer;
    asio::steady_timer m_interfaceTimer;
};

}  // namespace

EmbeddedPublisher::EmbeddedPublisher(InstanceNames& names, const std::string& type,
                                     std::uint16_t port, std::vector<std::string> interfaces,
                                     EmbeddedService::OnStatus onStatus)
    : m_names(names),
      m_interfaces(std::move(interfaces)),
      m_onStatus(std::move(onStatus)),
      m_thread([this, type, port] { run(type, port); }) {}

EmbeddedPublisher::~EmbeddedPublisher() {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
        if (m_context) {
            m_context->stop();
        }
    }
    m_wake.notify_all();
    m_thread.join();
}

void EmbeddedPublisher::run(const std::string& type, std::uint16_t port) {
    while (const auto context = makeContext()) {
        try {
            Engine engine(*context, {{}, type, port, hostLabel(support::hostName())}, m_names,
                          m_interfaces, m_onStatus);
            context->run();
            if (m_goodbye) {
                engine.sayGoodbye();
            }
        } catch (const std::exception& error) {
            waitAfter(error);
        }
    }
}

/// Null when the publisher is being destroyed.
std::shared_ptr<asio::io_context> EmbeddedPublisher::makeContext() {
    const std::lock_guard lock(m_mutex);
    m_context = m_stop ? nullptr : std::make_shared<asio::io_context>(1);
    return m_context;
}

/// Everything is made anew afterwards: what threw may have left it half done.
void EmbeddedPublisher::waitAfter(const std::exception& error) {
    constexpr std::chrono::seconds kRestartDelay{1};
    if (const auto more = m_errorLog.allows()) {
        HV_ERROR("the embedded multicast DNS responder failed: {}; starting it again{}",
                 error.what(), *more);
    }
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, kRestartDelay, [this] { return m_stop; });
}

}  // namespace mdns
