#include "unit/mdns/simulation.h"

namespace mdns::simulation {

Host::Host(World& world, int number, const std::string& instance, const std::string& hostName)
    : m_world(world),
      m_number(number),
      m_nextUpdate(world.now),
      m_names(instance, [instance](unsigned tried) { return instance + std::to_string(tried); }),
      m_service(
          {{}, "_ndi._tcp", port(), hostName}, m_names, *this,
          [this](const AnnouncementStatus& changed) {
              status = changed;
              changes.push_back(changed);
              changes.erase(changes.begin(),
                            changes.end() - std::min<long>(static_cast<long>(changes.size()), 100));
          },
          static_cast<std::uint32_t>(number)) {
    m_names.allowRenaming();
}

Nic& Host::addNic(int network) {
    const unsigned index = static_cast<unsigned>(nics.size()) + 1;
    const auto low = static_cast<unsigned char>(m_number + 1);
    const auto high = static_cast<unsigned char>(index);
    asio::ip::address_v6::bytes_type v6{0xFE, 0x80};
    v6[14] = high;
    v6[15] = low;
    nics.push_back(
        {{index,
          "eth" + std::to_string(index),
          {{asio::ip::address_v4({10, 0, high, low}), 16}, {asio::ip::address_v6(v6, index), 64}}},
         network});
    return nics.back();
}

std::vector<NetInterface> Host::interfaces() {
    std::vector<NetInterface> found;
    for (const auto& nic : nics) {
        if (nic.up && !nic.system.addresses.empty()) {
            found.push_back(nic.system);
        }
    }
    return found;
}

std::vector<Link> Host::open(const std::vector<NetInterface>& interfaces) {
    return linksOf(interfaces);
}

bool Host::send(const Responder::Outgoing& datagram) {
    auto& nic = nics.at(datagram.link.interfaceIndex - 1);
    const auto source =
        std::find_if(nic.system.addresses.begin(), nic.system.addresses.end(),
                     [&](const auto& each) { return each.address.is_v6() == datagram.link.v6; });
    if (!nic.up || !nic.canSend || source == nic.system.addresses.end()) {
        m_lastError = "Operation not permitted";
        return false;
    }
    if (!datagram.to) {
        m_world.transmit(nic.network, datagram.link.v6, {source->address, kPort}, datagram.bytes);
    }
    return true;
}

void Host::sleep(milliseconds span) {
    m_awake = m_world.now + span;
    m_slept += span;
}

bool Host::asleep() const {
    return m_world.now < m_awake;
}

Time Host::now() const {
    return m_world.now - m_slept;
}

/// In the world's time.
Time Host::due() const {
    if (asleep()) {
        return m_awake;
    }
    const Time next = m_service.nextDue();
    return next == Time::max() ? m_nextUpdate : std::min(next + m_slept, m_nextUpdate);
}

void Host::run() {
    if (asleep()) {
        return;
    }
    if (m_nextUpdate <= m_world.now) {
        m_nextUpdate = m_world.now + EmbeddedService::kInterfaceInterval;
        const auto wall = m_world.now.time_since_epoch() + wallOffset;
        m_service.updateInterfaces(
            now(), std::chrono::system_clock::time_point(
                       std::chrono::duration_cast<std::chrono::system_clock::duration>(wall)));
    } else {
        m_service.advance(now());
    }
}

void Host::receive(int network, bool v6, const udp::endpoint& from, const dns::Bytes& bytes) {
    for (const auto& nic : nics) {
        if (nic.up && !asleep() && m_world.same(nic.network, network)) {
            m_service.receive({nic.system.index, v6}, from, bytes.data(), bytes.size(), now());
        }
    }
}

Host& World::add(const std::string& instance, const std::string& hostName) {
    return hosts.emplace_back(*this, static_cast<int>(hosts.size()), instance, hostName);
}

void World::run(milliseconds span) {
    const Time end = now + span;
    for (;;) {
        Time next = m_deliveries.empty() ? end : std::min(end, m_deliveries.begin()->first);
        for (const auto& host : hosts) {
            next = std::min(next, host.due());
        }
        now = std::max(now, next);
        if (now >= end) {
            now = end;
            return;
        }
        while (!m_deliveries.empty() && m_deliveries.begin()->first <= now) {
            const auto deliver = std::move(m_deliveries.begin()->second);
            m_deliveries.erase(m_deliveries.begin());
            deliver();
        }
        for (auto& host : hosts) {
            if (host.due() <= now) {
                host.run();
            }
        }
    }
}

void World::sendForeign(int network, const dns::Message& message) {
    transmit(network, false, {asio::ip::make_address("10.0.9.9"), kPort}, dns::write(message));
    transmit(network, true, {asio::ip::make_address("fe80::909"), kPort}, dns::write(message));
}

void World::transmit(int network, bool v6, const udp::endpoint& from, const dns::Bytes& bytes) {
    const auto message = dns::parse(bytes.data(), bytes.size());
    ASSERT_TRUE(message);
    observe(network, v6, *message);
    if (onDatagram) {
        onDatagram(*message);
    }
    for (auto& host : hosts) {
        const int copies =
            (random(1, 100) > lossPercent ? 1 : 0) + (random(1, 100) <= repeatPercent ? 1 : 0);
        for (int copy = 0; copy < copies; ++copy) {
            m_deliveries.emplace(now + milliseconds(random(1, 5)),
                                 [&host, network, v6, from, bytes] {
                                     // The scope of a link-local address is the receiver's own
                                     // interface.
                                     const auto address = withoutScope(from.address());
                                     host.receive(network, v6, {address, from.port()}, bytes);
                                 });
        }
    }
}

void World::observe(int network, bool v6, const dns::Message& message) {
    auto records = message.answers;
    records.insert(records.end(), message.additionals.begin(), message.additionals.end());
    for (const auto& record : records) {
        const auto* srv = std::get_if<dns::Srv>(&record.data);
        if (!message.response || srv == nullptr) {
            continue;
        }
        answering.insert({network, v6, srv->port});
        auto& names = m_announced[{network, srv->port}];
        if (record.ttl > 0) {
            // The cache-flush bit: the records of others under this name are dropped.
            for (auto& [source, others] : m_announced) {
                if (same(source.first, network) && source.second != srv->port) {
                    others.erase(record.name.front());
                }
            }
            names.insert(record.name.front());
        } else {
            names.erase(record.name.front());
        }
    }
}

std::set<std::string> World::announced(int network, std::uint16_t port) const {
    const auto found = m_announced.find({network, port});
    return found == m_announced.end() ? std::set<std::string>() : found->second;
}

}  // namespace mdns::simulation
