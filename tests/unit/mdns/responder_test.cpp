// The responder without sockets: several of them on a simulated cable, with a simulated clock.
#include "mdns/responder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>

#include "mdns/hostlabel.h"

namespace mdns {
namespace {

using asio::ip::udp;
using std::chrono::milliseconds;
using State = Responder::State;

constexpr Link kLink{1, false};

struct Sent {
    milliseconds at;
    std::optional<udp::endpoint> to;
    dns::Message message;
};

/// Hosts 10.0.0.1, 10.0.0.2 ... on one cable. A multicast reaches all of them at once, its sender
/// included.
class Cable {
public:
    struct Host {
        std::unique_ptr<Responder> responder;
        NetInterface interface_;
    };

    Responder& add(const std::string& instance, std::uint16_t port, const std::string& host) {
        const int number = static_cast<int>(m_hosts.size()) + 1;
        Host made{std::make_unique<Responder>(ServiceInfo{instance, "_ndi._tcp", port, host},
                                              static_cast<std::uint32_t>(number)),
                  {1, "eth0", {{address(number), 24}}}};
        made.responder->setLinks({made.interface_}, {kLink}, m_now);
        m_hosts.push_back(std::move(made));
        return *m_hosts.back().responder;
    }

    static asio::ip::address address(int host) {
        return asio::ip::address_v4({10, 0, 0, static_cast<unsigned char>(host)});
    }

    void run(milliseconds span) {
        for (const auto end = m_now + span; m_now < end; m_now += milliseconds(10)) {
            for (auto& host : m_hosts) {
                host.responder->advance(m_now);
            }
            deliver();
        }
    }

    /// Multicasts from `port` of host `from`, which is not one of ours.
    void send(const dns::Message& message, std::uint16_t port = kPort, int from = 99) {
        const auto wire = dns::write(message);
        for (auto& host : m_hosts) {
            host.responder->receive(kLink, {address(from), port}, wire.data(), wire.size(), m_now);
        }
        deliver();
    }

    void goodbye(Responder& responder) {
        responder.sayGoodbye();
        deliver();
    }

    /// Everything sent since the last call.
    std::vector<Sent> taken() { return std::exchange(m_log, {}); }

private:
    void deliver() {
        for (bool any = true; any;) {
            any = false;
            for (std::size_t i = 0; i < m_hosts.size(); ++i) {
                for (const auto& out : m_hosts[i].responder->takeOutgoing()) {
                    any = true;
                    const int sender = static_cast<int>(i) + 1;
                    auto message = dns::parse(out.bytes.data(), out.bytes.size());
                    ASSERT_TRUE(message);
                    m_log.push_back({std::chrono::duration_cast<milliseconds>(m_now - m_start),
                                     out.to, std::move(*message)});
                    if (!out.to) {
                        for (auto& host : m_hosts) {
                            host.responder->receive(kLink, {address(sender), kPort},
                                                    out.bytes.data(), out.bytes.size(), m_now);
                        }
                    }
                }
            }
        }
    }

    const Responder::Time m_start = Responder::Time(std::chrono::hours(1));
    Responder::Time m_now = m_start;
    std::deque<Host> m_hosts;
    std::vector<Sent> m_log;
};

dns::Name instanceName(const std::string& instance) {
    return {instance, "_ndi", "_tcp", "local"};
}

dns::Message ask(const dns::Name& name, std::uint16_t type, bool unicast = false) {
    dns::Message query;
    query.questions = {{name, type, dns::kClassIn, unicast}};
    return query;
}

/// Another responder's response with one unique record.
dns::Message claim(const dns::Name& name, std::uint16_t type, dns::RecordData data) {
    dns::Message message;
    message.response = true;
    message.answers = {{name, type, dns::kClassIn, true, 120, std::move(data)}};
    return message;
}

/// It claims our instance's name for a host.
dns::Message claimInstance(const char* host) {
    return claim(instanceName("A (x)"), dns::kTypeSrv,
                 dns::Srv{0, 0, 6000, dns::nameFromText(host)});
}

const dns::Record* find(const std::vector<dns::Record>& records, std::uint16_t type) {
    const auto found = std::find_if(records.begin(), records.end(),
                                    [&](const auto& record) { return record.type == type; });
    return found == records.end() ? nullptr : &*found;
}

const dns::Name kType = dns::nameFromText("_ndi._tcp.local");

/// Host "a" alone on the cable, its name established.
struct Established : testing::Test {
    Established() {
        cable.run(milliseconds(5000));
        EXPECT_EQ(one.state(), State::Established);
        cable.taken();
    }
    Cable cable;
    Responder& one = cable.add("A (x)", 5961, "a");
};

TEST(Responder, ProbesThenAnnouncesTwice) {
    Cable cable;
    auto& one = cable.add("A (x)", 5961, "a");
    EXPECT_EQ(one.state(), State::Probing);
    cable.run(milliseconds(5000));
    EXPECT_EQ(one.state(), State::Established);
    const auto sent = cable.taken();
    ASSERT_EQ(sent.size(), 5U);
    EXPECT_LE(sent[0].at.count(), 250);
    for (int i = 0; i < 3; ++i) {
        const auto& probe = sent[static_cast<std::size_t>(i)];
        EXPECT_FALSE(probe.message.response);
        EXPECT_TRUE(dns::sameName(probe.message.questions.at(0).name, instanceName("A (x)")));
        EXPECT_EQ(probe.message.authorities.size(), 2U);
        EXPECT_EQ(probe.at, sent[0].at + milliseconds(250 * i));
    }
    EXPECT_EQ(sent[3].at, sent[2].at + milliseconds(250));
    EXPECT_EQ(sent[4].at, sent[3].at + milliseconds(1000));
    const auto& announced = sent[3].message.answers;
    EXPECT_TRUE(sent[3].message.response);
    const auto* srv = find(announced, dns::kTypeSrv);
    ASSERT_TRUE(srv);
    EXPECT_TRUE(srv->cacheFlush);
    EXPECT_EQ(srv->ttl, 120U);
    EXPECT_EQ(std::get<dns::Srv>(srv->data).port, 5961);
    EXPECT_EQ(dns::nameToText(std::get<dns::Srv>(srv->data).target), "a.local");
    EXPECT_EQ(std::get<dns::Ipv4>(find(announced, dns::kTypeA)->data), (dns::Ipv4{10, 0, 0, 1}));
    EXPECT_FALSE(find(announced, dns::kTypePtr)->cacheFlush);
    EXPECT_EQ(dns::dataBytes(*find(announced, dns::kTypeTxt)), dns::Bytes{0});
    EXPECT_EQ(one.nextDue(), Responder::Time::max());
}

TEST_F(Established, AnswersQuestions) {
    const struct {
        const char* what;
        dns::Name name;
        std::uint16_t type;
        std::size_t answers;
        std::size_t additionals;
    } cases[] = {
        {"browse", kType, dns::kTypePtr, 1, 4},
        {"browse in capitals", dns::nameFromText("_NDI._TCP.LOCAL"), dns::kTypeAny, 1, 4},
        {"list of types", dns::nameFromText("_services._dns-sd._udp.local"), dns::kTypePtr, 1, 0},
        {"resolve", instanceName("A (x)"), dns::kTypeSrv, 1, 2},
        {"text", instanceName("A (x)"), dns::kTypeTxt, 1, 0},
        {"everything", instanceName("a (X)"), dns::kTypeAny, 2, 2},
        {"address", dns::nameFromText("a.local"), dns::kTypeA, 1, 1},
        {"no such address", dns::nameFromText("a.local"), dns::kTypeAaaa, 1, 0},
        {"no such type", instanceName("A (x)"), dns::kTypeA, 1, 0},
        {"another instance", instanceName("B (x)"), dns::kTypeSrv, 0, 0},
    };
    for (const auto& each : cases) {
        cable.run(milliseconds(1500));
        cable.send(ask(each.name, each.type));
        cable.run(milliseconds(1500));
        const auto sent = cable.taken();
        ASSERT_EQ(sent.size(), each.answers == 0 ? 0U : 1U) << each.what;
        if (!sent.empty()) {
            EXPECT_FALSE(sent[0].to) << each.what;
            EXPECT_EQ(sent[0].message.answers.size(), each.answers) << each.what;
            EXPECT_EQ(sent[0].message.additionals.size(), each.additionals) << each.what;
        }
    }
    // However often it is queried: one answer a second.
    for (int i = 0; i < 20; ++i) {
        cable.send(ask(kType, dns::kTypePtr));
        cable.run(milliseconds(100));
    }
    const auto sent = cable.taken();
    EXPECT_GE(sent.size(), 1U);
    EXPECT_LE(sent.size(), 3U);
}

TEST_F(Established, AnswersByUnicast) {
    cable.send(ask(kType, dns::kTypePtr, true));
    auto sent = cable.taken();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].to, udp::endpoint(Cable::address(99), kPort));
    EXPECT_EQ(find(sent[0].message.answers, dns::kTypePtr)->ttl, 4500U);

    // More than a quarter of its time to live after the last multicast: multicast again.
    cable.run(milliseconds(40000));
    cable.send(ask(instanceName("A (x)"), dns::kTypeSrv, true));
    cable.run(milliseconds(200));
    sent = cable.taken();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_FALSE(sent[0].to);

    // A plain DNS client gets its id and question back, and a short time to live.
    auto legacy = ask(kType, dns::kTypePtr);
    legacy.id = 77;
    cable.send(legacy, 40000);
    sent = cable.taken();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].to, udp::endpoint(Cable::address(99), 40000));
    EXPECT_EQ(sent[0].message.id, 77);
    EXPECT_EQ(sent[0].message.questions.size(), 1U);
    EXPECT_LE(sent[0].message.answers.at(0).ttl, 10U);
}

TEST_F(Established, SuppressesKnownAnswers) {
    dns::Record known;
    known.name = kType;
    known.type = dns::kTypePtr;
    known.data = instanceName("A (x)");
    for (const auto& [ttl, answers] : {std::pair{4500U, 0U}, {2250U, 0U}, {2000U, 1U}}) {
        auto query = ask(kType, dns::kTypePtr);
        known.ttl = ttl;
        query.answers = {known};
        cable.send(query);
        cable.run(milliseconds(1500));
        EXPECT_EQ(cable.taken().size(), answers) << ttl;
    }
    // The known answers follow in a second message.
    auto query = ask(kType, dns::kTypePtr);
    query.truncated = true;
    cable.send(query);
    cable.run(milliseconds(200));
    dns::Message more;
    known.ttl = 4500;
    more.answers = {known};
    cable.send(more);
    cable.run(milliseconds(1500));
    EXPECT_TRUE(cable.taken().empty());
}

/// RFC 6762, 8.2: of two hosts that probe at the same time the greater record wins.
TEST(Responder, TheGreaterOfTwoSimultaneousRecordsWins) {
    Cable cable;
    auto& first = cable.add("A (x)", 5961, "a");
    auto& second = cable.add("A (x)", 5962, "b");
    cable.run(milliseconds(8000));
    EXPECT_EQ(first.state(), State::NameTaken);
    EXPECT_EQ(second.state(), State::Established);
}

TEST_F(Established, ProbesAgainOnAConflict) {
    dns::Message rival = claimInstance("other.local");

    // Not from the mDNS port: not from a responder.
    cable.send(rival, 40000);
    EXPECT_EQ(one.state(), State::Established);
    rival.answers[0].ttl = 0;  // A goodbye is no conflict.
    cable.send(rival);
    EXPECT_EQ(one.state(), State::Established);

    rival.answers[0].ttl = 120;
    cable.send(rival);
    EXPECT_EQ(one.state(), State::Probing);
    cable.run(milliseconds(1200));  // The other host gives way.
    EXPECT_EQ(one.state(), State::Established);

    cable.send(rival);
    cable.run(milliseconds(400));
    cable.send(rival);  // The other host defends it.
    EXPECT_EQ(one.state(), State::NameTaken);
}

TEST_F(Established, GivesUpTheHostNameToAnotherMachineOnly) {
    dns::Message owner = claim({"a", "local"}, dns::kTypeA, dns::Ipv4{10, 0, 0, 1});
    cable.send(owner, kPort, 1);  // Another responder of this machine, the same address ...
    owner.answers[0].data = dns::Ipv4{192, 168, 7, 1};
    cable.send(owner, kPort, 1);  // ... or an address of an interface that we do not use.
    EXPECT_EQ(one.state(), State::Established);
    EXPECT_EQ(one.hostName(), "a");

    owner.answers[0].data = dns::Ipv4{10, 0, 0, 9};
    cable.taken();
    cable.send(owner, kPort, 9);
    EXPECT_EQ(one.hostName(), "a-2");
    cable.run(milliseconds(3000));
    EXPECT_EQ(one.state(), State::Established);
    const auto sent = cable.taken();
    EXPECT_EQ(
        dns::nameToText(
            std::get<dns::Srv>(find(sent.back().message.answers, dns::kTypeSrv)->data).target),
        "a-2.local");
}

TEST_F(Established, AnswersForMissingTypesWithNsec) {
    const struct {
        dns::Name name;
        std::uint16_t type;
        dns::Bytes bitmap;  // RFC 4034, 4.1.2: block, length, bits from the highest one.
    } cases[] = {
        {{"a", "local"}, dns::kTypeAaaa, {0, 1, 0x40}},
        {instanceName("A (x)"), dns::kTypeA, {0, 5, 0, 0, 0x80, 0, 0x40}},
    };
    for (const auto& each : cases) {
        cable.send(ask(each.name, each.type));
        cable.run(milliseconds(1500));
        const auto sent = cable.taken();
        ASSERT_EQ(sent.size(), 1U);
        const auto* nsec = find(sent[0].message.answers, dns::kTypeNsec);
        ASSERT_TRUE(nsec);
        EXPECT_TRUE(dns::sameName(nsec->name, each.name));
        EXPECT_TRUE(nsec->cacheFlush);
        const auto& data = std::get<dns::Bytes>(nsec->data);
        EXPECT_EQ(dns::Bytes(data.end() - static_cast<long>(each.bitmap.size()), data.end()),
                  each.bitmap);
    }
}

TEST_F(Established, DefendsItsNameAtALimitedRate) {
    dns::Message probe = ask(instanceName("A (x)"), dns::kTypeAny);
    probe.authorities = {{instanceName("A (x)"), dns::kTypeSrv, dns::kClassIn, false, 120,
                          dns::Srv{0, 0, 6000, dns::nameFromText("other.local")}}};
    for (int i = 0; i < 100; ++i) {
        cable.send(probe);
        cable.run(milliseconds(10));
    }
    const auto sent = cable.taken();
    ASSERT_GE(sent.size(), 4U);
    EXPECT_LE(sent.size(), 5U);
    EXPECT_LE(sent[0].at.count(), 5010);  // The first answer is not delayed.
}

/// RFC 6762, 8.1.
TEST_F(Established, BacksOffAfterManyConflicts) {
    dns::Message rival = claim({"a", "local"}, dns::kTypeA, dns::Ipv4{10, 0, 0, 9});
    const std::string longest(63, 'h');
    Cable other;
    auto& host = other.add("A (x)", 5961, longest);
    for (int i = 0; i < 1000; ++i) {
        rival.answers[0].name = {host.hostName(), "local"};
        other.send(rival);
        other.run(milliseconds(10));
        ASSERT_LE(host.hostName().size(), 63U);
        ASSERT_EQ(host.hostName().substr(60 - (i > 7) - (i > 97) - (i > 997)),
                  "h-" + std::to_string(i + 2));
    }
    other.taken();
    other.run(milliseconds(4900));
    EXPECT_TRUE(other.taken().empty()) << "no probe for five seconds";
    other.run(milliseconds(2000));
    EXPECT_EQ(host.state(), State::Established);
}

/// One responder on two links; 10.0.0.1 on the first one, 10.1.0.1 on the second one.
struct TwoLinks : testing::Test {
    TwoLinks() {
        responder.setLinks({{1, "eth0", {{Cable::address(1), 24}}},
                            {2, "eth1", {{asio::ip::make_address("10.1.0.1"), 24}}}},
                           {{1, false}, {2, false}}, now);
        run();
        EXPECT_EQ(responder.state(), State::Established);
        EXPECT_EQ(sent[1], sent[2]);
    }
    void run() {
        sent.clear();
        for (const auto end = now + std::chrono::seconds(5); now < end; now += milliseconds(10)) {
            responder.advance(now);
            for (const auto& out : responder.takeOutgoing()) {
                ++sent[out.link.interfaceIndex];
            }
        }
    }
    void receive(const Link& link, const char* from, const dns::Message& message) {
        const auto wire = dns::write(message);
        responder.receive(link, {asio::ip::make_address(from), kPort}, wire.data(), wire.size(),
                          now);
    }

    Responder::Time now{std::chrono::hours(1)};
    Responder responder{{"A (x)", "_ndi._tcp", 5961, "a"}, 1};
    std::map<unsigned, int> sent;  ///< Datagrams by interface.
};

TEST_F(TwoLinks, AConflictOnOneLinkKeepsTheNameOnTheOther) {
    const dns::Message rival = claimInstance("other.local");
    receive({1, false}, "10.0.0.9", rival);
    EXPECT_EQ(responder.state(), State::Established);
    receive({2, false}, "10.1.0.9", ask(instanceName("A (x)"), dns::kTypeSrv));
    responder.advance(now);
    EXPECT_EQ(responder.takeOutgoing().size(), 1U) << "answered while the other link probes";

    now += milliseconds(300);
    responder.advance(now);
    receive({1, false}, "10.0.0.9", rival);
    EXPECT_EQ(responder.state(), State::NameTaken);
    EXPECT_EQ(responder.nameTakenBy(), "another host (10.0.0.9)");
    static_cast<void>(responder.takeOutgoing());
    responder.rename("A (x1)", now);
    run();
    EXPECT_EQ(responder.state(), State::Established);
    EXPECT_EQ(sent[1], 5) << "probes and announcements";
    EXPECT_EQ(sent[2], 6) << "a goodbye for the old name, too";
}

TEST_F(TwoLinks, AnswersUnicastQueriesOnTheLinkTheyCameFrom) {
    // The sockets share the port: unicast datagrams arrive at any of them.
    receive({1, false}, "10.1.0.9", ask(kType, dns::kTypePtr, true));
    const auto answers = responder.takeOutgoing();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].link, (Link{2, false}));
    EXPECT_EQ(answers[0].to, udp::endpoint(asio::ip::make_address("10.1.0.9"), kPort));
}

TEST_F(TwoLinks, NamesTheOtherProgramOnThisHost) {
    const dns::Message rival = claimInstance("a.local");
    receive({1, false}, "10.0.0.1", rival);
    now += milliseconds(300);
    responder.advance(now);
    receive({1, false}, "10.0.0.1", rival);
    EXPECT_EQ(responder.nameTakenBy(), "another program on this host");
}

TEST(HostLabel, IsCleaned) {
    const struct {
        std::string name;
        std::string label;
    } cases[] = {
        {"studio", "studio"},
        {"Studio_2 a", "Studio-2-a"},
        {"\xD0\x9F\xD0\x9A", "\xD0\x9F\xD0\x9A"},
        {"-a\xFF\n-", "a"},
        {"", "ndi-host"},
        {"localhost", "ndi-host"},
        {std::string(62, 'x') + "\xC3\xA4", std::string(62, 'x')},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(hostLabel(each.name), each.label);
    }
    EXPECT_EQ(numberedHostLabel(std::string(63, 'x'), 12), std::string(60, 'x') + "-12");
}

}  // namespace
}  // namespace mdns
