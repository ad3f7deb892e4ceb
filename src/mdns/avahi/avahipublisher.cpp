#include "mdns/avahi/avahipublisher.h"

#include <avahi-common/error.h>
#include <fmt/format.h>

#include <new>
#include <thread>
#include <utility>

#include "mdns/netinterfaces.h"
#include "support/log.h"

namespace mdns {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kConnectInterval{5};
constexpr std::chrono::seconds kAttemptInterval{10};

}  // namespace

AvahiPublisher::AvahiPublisher(InstanceNames& names, std::string type, std::uint16_t port,
                               std::vector<std::string> interfaces)
    : m_names(names),
      m_type(std::move(type)),
      m_port(port),
      m_interfaces(std::move(interfaces)),
      m_poll(avahi_simple_poll_new()) {
    if (!m_poll) {
        throw std::bad_alloc();
    }
}

void AvahiPublisher::run(std::chrono::milliseconds limit) {
    if (!m_client && Clock::now() >= m_nextConnect) {
        connect();
    } else {
        wait(limit);
    }
    if (m_clientState == AVAHI_CLIENT_FAILURE) {
        forgetService();
        m_client.reset();
    } else if (m_clientState != AVAHI_CLIENT_S_RUNNING) {
        // The daemon probes for its host name, or has stopped: it has dropped the service.
        forgetService();
        m_nextAttempt = {};
        report(AnnounceState::Trying, "the Avahi daemon is not ready yet");
    }
}

void AvahiPublisher::wait(std::chrono::milliseconds limit) {
    if (avahi_simple_poll_iterate(m_poll.get(), static_cast<int>(limit.count())) != 0) {
        std::this_thread::sleep_for(limit);  // Polling itself failed; no busy loop.
    }
}

void AvahiPublisher::disconnect() {
    forgetService();
    m_client.reset();
    m_clientState = AVAHI_CLIENT_FAILURE;
    m_nextAttempt = {};
}

void AvahiPublisher::wakeUp() {
    avahi_simple_poll_wakeup(m_poll.get());
}

bool AvahiPublisher::daemonPresent() const {
    return m_client && m_clientState != AVAHI_CLIENT_CONNECTING;
}

void AvahiPublisher::connect() {
    m_nextConnect = Clock::now() + kConnectInterval;
    int error = 0;
    m_client.reset(avahi_client_new(avahi_simple_poll_get(m_poll.get()), AVAHI_CLIENT_NO_FAIL,
                                    &AvahiPublisher::clientChanged, this, &error));
    if (!m_client) {
        m_clientState = AVAHI_CLIENT_FAILURE;
    }
}

AnnouncementStatus AvahiPublisher::publish() {
    if (m_status.state == AnnounceState::NameTaken) {
        const std::string lost = m_names.current();
        if (m_names.takeNext()) {
            HV_WARN("{}: \"{}\" is announced as \"{}\" from now on", m_status.reason, lost,
                    m_names.current());
            forgetService();
            m_nextAttempt = {};
        }
    }
    if (!m_registered && m_clientState == AVAHI_CLIENT_S_RUNNING && Clock::now() >= m_nextAttempt) {
        registerService();
    }
    return m_status;
}

/// On all interfaces, or on those that were asked for. Avahi's error, 0 for none.
int AvahiPublisher::addService() {
    std::vector<AvahiIfIndex> indices;
    if (m_interfaces.empty()) {
        indices.push_back(AVAHI_IF_UNSPEC);
    } else {
        for (const NetInterface& each : selectInterfaces(multicastInterfaces(), m_interfaces)) {
            indices.push_back(static_cast<AvahiIfIndex>(each.index));
        }
    }
    int result = indices.empty() ? AVAHI_ERR_INVALID_INTERFACE : 0;
    for (const AvahiIfIndex index : indices) {
        if (result == 0) {
            result = avahi_entry_group_add_service_strlst(
                m_group.get(), index, AVAHI_PROTO_UNSPEC, AvahiPublishFlags{},
                m_names.current().c_str(), m_type.c_str(), nullptr, nullptr, m_port, nullptr);
        }
    }
    return result;
}

void AvahiPublisher::registerService() {
    m_nextAttempt = Clock::now() + kAttemptInterval;
    report(AnnounceState::Trying,
           fmt::format("the Avahi daemon is still probing for \"{}\"", m_names.current()));
    m_group.reset(avahi_entry_group_new(m_client.get(), &AvahiPublisher::groupChanged, this));
    if (!m_group) {
        fail("creating an entry group", avahi_client_errno(m_client.get()));
        return;
    }
    int result = addService();
    if (result == 0) {
        result = avahi_entry_group_commit(m_group.get());
    }
    if (result != 0) {
        fail("adding the service", result);
        return;
    }
    m_registered = true;
}

void AvahiPublisher::forgetService() {
    m_group.reset();
    m_registered = false;
}

void AvahiPublisher::fail(const std::string& what, int avahiError) {
    forgetService();
    if (avahiError == AVAHI_ERR_COLLISION) {
        report(AnnounceState::NameTaken,
               fmt::format("this host publishes \"{}\" already", m_names.current()));
        return;
    }
    report(AnnounceState::Trying, fmt::format("publishing \"{}\" through the Avahi daemon: {} "
                                              "failed: {}",
                                              m_names.current(), what, avahi_strerror(avahiError)));
}

void AvahiPublisher::report(AnnounceState state, const std::string& reason) {
    m_status = {state, m_names.current(), reason};
}

void AvahiPublisher::clientChanged(AvahiClient* client, AvahiClientState state, void* self) {
    auto& publisher = *static_cast<AvahiPublisher*>(self);
    publisher.m_clientState = state;
    if (state == AVAHI_CLIENT_FAILURE) {
        // run() frees the client after this callback, and connects again at once.
        publisher.m_nextConnect = Clock::now();
        publisher.m_nextAttempt = {};
        publisher.report(AnnounceState::Trying,
                         fmt::format("the connection to the Avahi daemon was lost: {}",
                                     avahi_strerror(avahi_client_errno(client))));
    }
}

void AvahiPublisher::groupChanged(AvahiEntryGroup* /*group*/, AvahiEntryGroupState state,
                                  void* self) {
    auto& publisher = *static_cast<AvahiPublisher*>(self);
    switch (state) {
        case AVAHI_ENTRY_GROUP_ESTABLISHED:
            publisher.report(AnnounceState::Established, {});
            break;
        case AVAHI_ENTRY_GROUP_COLLISION:
            publisher.m_registered = false;
            publisher.report(AnnounceState::NameTaken, fmt::format("another host publishes \"{}\"",
                                                                   publisher.m_names.current()));
            break;
        case AVAHI_ENTRY_GROUP_FAILURE:
            publisher.m_registered = false;
            publisher.report(AnnounceState::Trying,
                             "the Avahi daemon failed to publish the service");
            break;
        case AVAHI_ENTRY_GROUP_UNCOMMITED:
        case AVAHI_ENTRY_GROUP_REGISTERING:
            break;
    }
}

}  // namespace mdns
