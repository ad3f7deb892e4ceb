// A simulated week of a network in which something happens every few minutes.
#include <malloc.h>

#include "unit/mdns/simulation.h"

namespace mdns::simulation {
namespace {

constexpr int kNetworks = 2;

dns::Message response(const dns::Name& name, std::uint16_t type, dns::RecordData data) {
    dns::Message message;
    message.response = true;
    message.answers = {{name, type, dns::kClassIn, true, 120, std::move(data)}};
    return message;
}

/// Four sources, two of the same name; one host is on both networks.
class Week {
public:
    explicit Week(std::uint32_t seed) : m_world(seed) {
        for (const auto& [instance, host] : {std::pair("STUDIO (Cam)", "studio"),
                                             {"STUDIO (Cam)", "studio"},
                                             {"DESK (Screen)", "desk"},
                                             {"LONG (Name)", "long"}}) {
            m_world.add(instance, host).addNic(static_cast<int>(m_world.hosts.size()) % kNetworks);
        }
        m_world.hosts[2].addNic(0);
        m_world.onDatagram = [this](const dns::Message& message) { defend(message); };
    }

    void run() {
        const Time end = m_world.now + std::chrono::hours(7 * 24);
        settle();
        const std::size_t before = mallinfo2().uordblks;
        while (m_world.now < end && !testing::Test::HasFailure()) {
            const int what = m_world.random(0, static_cast<int>(m_events.size()) - 1);
            SCOPED_TRACE(
                testing::Message()
                << "event " << what << " at "
                << std::chrono::duration_cast<seconds>(m_world.now.time_since_epoch()).count()
                << " s");
            (this->*m_events[static_cast<std::size_t>(what)])();
            settle();
            runChecked(seconds(m_world.random(0, 600)));
            ++m_count;
        }
        EXPECT_GT(m_count, 1000);
        EXPECT_LT(mallinfo2().uordblks, before + 100000) << "memory grows";
    }

private:
    Host& anyHost() {
        return m_world.hosts[static_cast<std::size_t>(
            m_world.random(0, static_cast<int>(m_world.hosts.size()) - 1))];
    }
    Nic& nicOf(Host& host) {
        return host.nics[static_cast<std::size_t>(
            m_world.random(0, static_cast<int>(host.nics.size()) - 1))];
    }
    void pause(int leastMs, int mostMs) {
        runChecked(milliseconds(m_world.random(leastMs, mostMs)));
    }

    /// A host that is renamed while one of its networks is out of reach can't withdraw the old name
    /// there: it stays in the caches until it expires.
    class Unreachable {
    public:
        Unreachable(Week& week, Host& host, const Nic& nic)
            : m_week(week), m_host(host), m_nic(nic), m_name(host.status.instance) {}
        ~Unreachable() {
            if (m_host.status.instance != m_name) {
                m_week.m_world.forget(m_nic.network, m_host.port());
            }
        }
        Unreachable(const Unreachable&) = delete;
        Unreachable& operator=(const Unreachable&) = delete;

    private:
        Week& m_week;
        const Host& m_host;
        const Nic& m_nic;
        const std::string m_name;
    };

    // Events. Each one leaves the network in order.
    void flap() {
        auto& host = anyHost();
        auto& nic = nicOf(host);
        for (int times = m_world.random(1, 5); times > 0; --times) {
            const Unreachable unreachable(*this, host, nic);
            nic.up = false;
            pause(10, 20000);
            nic.up = true;
        }
    }
    void changeAddress() {
        auto& nic = nicOf(anyHost());
        nic.system.addresses.front().address =
            asio::ip::address_v4({10, 0, static_cast<unsigned char>(10 + nic.network),
                                  static_cast<unsigned char>(m_world.random(1, 250))});
        if (m_world.random(0, 1) == 0 && nic.system.addresses.size() > 1) {
            m_removed = nic.system.addresses.back();
            nic.system.addresses.pop_back();
            pause(10, 20000);
            nic.system.addresses.push_back(m_removed);
        }
    }
    void failToSend() {
        auto& host = anyHost();
        auto& nic = nicOf(host);
        const Unreachable unreachable(*this, host, nic);
        nic.canSend = false;
        for (int left = m_world.random(1, 8); left > 0; --left) {
            browse();
            pause(10, 40000);
        }
        nic.canSend = true;
    }
    void joinNetworks() {
        m_world.joined = true;
        for (int left = m_world.random(1, 30); left > 0; --left) {
            browse();
            pause(500, 4000);
        }
        if (m_world.random(0, 1) == 0) {
            settle();
        }
        m_world.joined = false;
    }
    void claimName() {
        m_claimed = anyHost().status.instance;
        m_world.sendForeign(m_world.random(0, 1),
                            response({m_claimed, "_ndi", "_tcp", "local"}, dns::kTypeSrv,
                                     dns::Srv{0, 0, 9999, {"foreign", "local"}}));
        pause(10, 20000);
        m_claimed.clear();
    }
    void claimNameOnce() {
        m_world.sendForeign(m_world.random(0, 1),
                            response({anyHost().status.instance, "_ndi", "_tcp", "local"},
                                     dns::kTypeSrv, dns::Srv{0, 0, 9999, {"foreign", "local"}}));
    }
    void claimHostName() {
        m_world.sendForeign(m_world.random(0, 1),
                            response({"studio", "local"}, dns::kTypeA, dns::Ipv4{10, 0, 9, 9}));
    }
    void suspend() {
        auto& host = anyHost();
        const milliseconds span(m_world.random(100, 3600000));
        for (const auto& nic : host.nics) {
            if (span > seconds(120)) {  // The time to live of an SRV record.
                m_world.forget(nic.network, host.port());
            }
        }
        host.sleep(span);
        while (host.asleep()) {
            pause(1000, 60000);
        }
    }
    void setClock() { anyHost().wallOffset += seconds(m_world.random(-100000, 100000)); }
    void disturb() {
        m_world.lossPercent = m_world.random(0, 60);
        m_world.repeatPercent = m_world.random(0, 60);
        auto& host = anyHost();
        auto& nic = nicOf(host);
        {
            const Unreachable unreachable(*this, host, nic);
            nic.up = false;
            pause(3000, 9000);
            nic.up = true;
        }
        for (int left = 8; left > 0; --left) {
            browse();
            pause(10, 4000);
        }
        m_world.lossPercent = m_world.repeatPercent = 0;
    }

    /// The foreign responder defends the name that it has claimed.
    void defend(const dns::Message& message) {
        if (!m_claimed.empty() && !message.response &&
            message.questions.front().name.front() == m_claimed) {
            for (int network = 0; network < kNetworks; ++network) {
                m_world.sendForeign(network,
                                    response({m_claimed, "_ndi", "_tcp", "local"}, dns::kTypeSrv,
                                             dns::Srv{0, 0, 9999, {"foreign", "local"}}));
            }
        }
    }

    void browse() {
        dns::Message query;
        query.questions = {
            {dns::nameFromText("_ndi._tcp.local"), dns::kTypePtr, dns::kClassIn, false}};
        for (int network = 0; network < kNetworks; ++network) {
            m_world.sendForeign(network, query);
        }
    }

    /// Ten seconds without events, in which a receiver looks for sources.
    void settle() {
        for (int i = 0; i < 5; ++i) {
            m_world.answering.clear();
            browse();
            runChecked(seconds(2));
        }
        std::map<int, std::set<std::string>> names;
        std::map<int, std::size_t> sources;
        for (auto& host : m_world.hosts) {
            EXPECT_EQ(host.status.state, AnnounceState::Established)
                << host.status.instance << ": " << host.status.reason;
            for (const auto& nic : host.nics) {
                EXPECT_EQ(m_world.announced(nic.network, host.port()),
                          std::set<std::string>{host.status.instance});
                EXPECT_EQ(m_world.answering.count({nic.network, false, host.port()}), 1U);
                EXPECT_EQ(m_world.answering.count({nic.network, true, host.port()}), 1U);
                const int network = m_world.joined ? 0 : nic.network;
                names[network].insert(host.status.instance);
                ++sources[network];
            }
        }
        for (const auto& [network, found] : names) {
            // The host on both networks counts twice on joined ones.
            EXPECT_EQ(found.size(), sources[network] - (m_world.joined ? 1 : 0));
        }
    }

    void runChecked(milliseconds span) {
        const Time end = m_world.now + span;
        while (m_world.now < end) {
            m_world.run(std::min<milliseconds>(
                seconds(5), std::chrono::duration_cast<milliseconds>(end - m_world.now)));
            for (const auto& host : m_world.hosts) {
                for (const auto& nic : host.nics) {
                    ASSERT_LE(m_world.announced(nic.network, host.port()).size(), 1U);
                }
            }
        }
    }

    World m_world;
    std::string m_claimed;
    InterfaceAddress m_removed;
    int m_count = 0;
    const std::vector<void (Week::*)()> m_events{
        &Week::flap,      &Week::changeAddress, &Week::failToSend,    &Week::joinNetworks,
        &Week::claimName, &Week::claimNameOnce, &Week::claimHostName, &Week::suspend,
        &Week::setClock,  &Week::disturb,
    };
};

TEST(EmbeddedService, SurvivesAWeekOfDisturbances) {
    for (const std::uint32_t seed : {1U, 2U}) {
        SCOPED_TRACE(seed);
        Week(seed).run();
    }
}

}  // namespace
}  // namespace mdns::simulation
