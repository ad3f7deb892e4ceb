#pragma once
// Hosts with an EmbeddedService each, on simulated networks, with simulated clocks.

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "mdns/embeddedservice.h"

namespace mdns::simulation {

using asio::ip::udp;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// A network interface, plugged into one of the networks.
struct Nic {
    NetInterface system;
    int network = 0;
    bool up = true;
    bool canSend = true;  ///< False: every send fails, as behind a firewall's EPERM.
};

class World;

/// A machine with one service, port 5961 + number.
class Host : public Network {
public:
    Host(World& world, int number, const std::string& instance, const std::string& hostName);

    // Network
    [[nodiscard]] std::vector<NetInterface> interfaces() override;
    std::vector<Link> open(const std::vector<NetInterface>& interfaces) override;
    bool send(const Responder::Outgoing& datagram) override;
    [[nodiscard]] std::string lastError() const override { return m_lastError; }

    Nic& addNic(int network);
    /// The machine sleeps for `span`; its monotonic clock stands still.
    void sleep(milliseconds span);
    [[nodiscard]] bool asleep() const;
    [[nodiscard]] Time now() const;
    [[nodiscard]] std::uint16_t port() const { return static_cast<std::uint16_t>(5961 + m_number); }

    std::deque<Nic> nics;
    AnnouncementStatus status;
    std::vector<AnnouncementStatus> changes;
    std::chrono::seconds wallOffset{0};

private:
    friend class World;
    void run();
    void receive(int network, bool v6, const udp::endpoint& from, const dns::Bytes& bytes);
    [[nodiscard]] Time due() const;

    World& m_world;
    const int m_number;
    std::string m_lastError;
    Time m_awake;
    milliseconds m_slept{0};
    Time m_nextUpdate;
    InstanceNames m_names;
    EmbeddedService m_service;
};

/// Delivers datagrams after a few milliseconds, with loss and repetition where wanted.
class World {
public:
    explicit World(std::uint32_t seed) : m_random(seed) {}

    Host& add(const std::string& instance, const std::string& hostName);
    void run(milliseconds span);

    /// To every host of the network by IPv4 and IPv6, as from a foreign responder at 10.0.9.9.
    void sendForeign(int network, const dns::Message& message);

    /// The names of a source that were announced on a network and not withdrawn, by their SRV
    /// records: what every cache on that network has.
    [[nodiscard]] std::set<std::string> announced(int network, std::uint16_t port) const;
    void forget(int network, std::uint16_t port) { m_announced.erase({network, port}); }

    [[nodiscard]] int random(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(m_random);
    }

    Time now{std::chrono::hours(100)};
    std::deque<Host> hosts;
    bool joined = false;  ///< The networks are one.
    /// Network, IPv6 or not, and port of the sources that sent their SRV record.
    std::set<std::tuple<int, bool, std::uint16_t>> answering;
    int lossPercent = 0;
    int repeatPercent = 0;
    std::function<void(const dns::Message& message)> onDatagram;  ///< Each that is sent.

private:
    friend class Host;
    void transmit(int network, bool v6, const udp::endpoint& from, const dns::Bytes& bytes);
    void observe(int network, bool v6, const dns::Message& message);
    [[nodiscard]] bool same(int a, int b) const { return a == b || joined; }

    std::mt19937 m_random;
    std::multimap<Time, std::function<void()>> m_deliveries;
    std::map<std::pair<int, std::uint16_t>, std::set<std::string>> m_announced;
};

}  // namespace mdns::simulation
