#include "mdns/embeddedpublisher.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <optional>
#include <random>
#include <utility>

#include "mdns/hostlabel.h"
#include "mdns/multicastsockets.h"
#include "mdns/responder.h"
#include "support/hostname.h"
#include "support/log.h"

namespace mdns {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kInterfaceInterval{2};

/// Everything that the publisher's thread alone uses.
class Engine {
public:
    Engine(asio::io_context& context, ServiceInfo service, EmbeddedPublisher::OnStatus onStatus)
        : m_instance(service.instance),
          m_onStatus(std::move(onStatus)),
          m_responder(std::move(service), std::random_device{}()),
          m_sockets(context,
                    [this](const Link& link, const asio::ip::udp::endpoint& from,
                           const std::uint8_t* bytes, std::size_t size) {
                        m_responder.receive(link, from, bytes, size, Clock::now());
                        proceed();
                    }),
          m_dueTimer(context),
          m_interfaceTimer(context) {
        updateInterfaces();
    }

    void sayGoodbye() {
        m_responder.sayGoodbye();
        sendOutgoing();
    }

private:
    void updateInterfaces() {
        m_interfaceTimer.expires_after(kInterfaceInterval);
        m_interfaceTimer.async_wait([this](asio::error_code error) {
            if (!error) {
                updateInterfaces();
            }
        });
        const auto interfaces = multicastInterfaces();
        const auto links = m_sockets.setInterfaces(interfaces);
        if (interfaces != m_interfaces || links != m_links) {
            m_interfaces = interfaces;
            m_links = links;
            logLinks();
            m_responder.setLinks(m_interfaces, m_links, Clock::now());
        }
        proceed();
    }

    /// Does what is due, sends it, and sets the timer for what is due next.
    void proceed() {
        m_responder.advance(Clock::now());
        sendOutgoing();
        reportState();
        const auto due = m_responder.nextDue();
        if (due == Clock::time_point::max()) {
            m_dueTimer.cancel();
            return;
        }
        m_dueTimer.expires_at(due);
        m_dueTimer.async_wait([this](asio::error_code error) {
            if (!error) {
                proceed();
            }
        });
    }

    void sendOutgoing() {
        for (const auto& each : m_responder.takeOutgoing()) {
            if (each.to) {
                m_sockets.sendTo(each.link, *each.to, each.bytes);
            } else if (!m_sockets.sendToGroup(each.link, each.bytes)) {
                m_links.erase(std::remove(m_links.begin(), m_links.end(), each.link),
                              m_links.end());
                // Left out until the next update of the interfaces, which probes on it again.
                m_responder.setLinks(m_interfaces, m_links, Clock::now());
            }
        }
    }

    void reportState() {
        const auto state = m_responder.state();
        if (m_reported == state) {
            return;
        }
        m_reported = state;
        switch (state) {
            case Responder::State::Established:
                HV_INFO("\"{}\" is announced by the embedded multicast DNS responder as {}.local",
                        m_instance, m_responder.hostName());
                report(AnnounceState::Established, {});
                break;
            case Responder::State::NameTaken:
                report(AnnounceState::NameTaken,
                       fmt::format("another host publishes \"{}\"", m_instance));
                break;
            case Responder::State::Probing:
                report(AnnounceState::Trying, fmt::format("still probing for \"{}\"", m_instance));
                break;
            case Responder::State::NoLink:
                report(AnnounceState::Trying,
                       m_sockets.lastError().empty()
                           ? "no network interface is up and supports multicast"
                           : m_sockets.lastError());
                break;
        }
    }

    void report(AnnounceState state, const std::string& reason) {
        m_onStatus({state, m_instance, reason});
    }

    void logLinks() {
        std::string text;
        for (const auto& link : m_links) {
            const auto on =
                std::find_if(m_interfaces.begin(), m_interfaces.end(),
                             [&](const auto& each) { return each.index == link.interfaceIndex; });
            text += (text.empty() ? "" : ", ") + on->name + (link.v6 ? " (IPv6)" : " (IPv4)");
        }
        if (text != m_loggedLinks) {
            m_loggedLinks = text;
            HV_INFO("multicast DNS for \"{}\" on {}", m_instance,
                    text.empty() ? "no network interface" : text);
        }
    }

    const std::string m_instance;
    const EmbeddedPublisher::OnStatus m_onStatus;
    Responder m_responder;
    MulticastSockets m_sockets;
    asio::steady_timer m_dueTimer;
    asio::steady_timer m_interfaceTimer;
    std::vector<NetInterface> m_interfaces;
    std::vector<Link> m_links;  ///< Without those where sending failed.
    std::string m_loggedLinks;
    std::optional<Responder::State> m_reported;
};

}  // namespace

EmbeddedPublisher::EmbeddedPublisher(const std::string& instance, const std::string& type,
                                     std::uint16_t port, OnStatus onStatus)
    : m_onStatus(std::move(onStatus)),
      m_context(std::make_unique<asio::io_context>(1)),
      m_thread([this, instance, type, port] { run(instance, type, port); }) {}

EmbeddedPublisher::~EmbeddedPublisher() {
    m_context->stop();
    m_thread.join();
}

void EmbeddedPublisher::run(const std::string& instance, const std::string& type,
                            std::uint16_t port) {
    Engine engine(*m_context, {instance, type, port, hostLabel(support::hostName())}, m_onStatus);
    while (!m_context->stopped()) {
        try {
            m_context->run();
        } catch (const std::exception& error) {
            HV_ERROR("multicast DNS for \"{}\" failed: {}; continuing", instance, error.what());
        }
    }
    if (m_goodbye) {
        engine.sayGoodbye();
    }
}

}  // namespace mdns
