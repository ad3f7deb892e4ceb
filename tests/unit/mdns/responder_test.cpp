// The responder without sockets, with a simulated clock.
#include "mdns/responder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "mdns/hostlabel.h"

namespace mdns {
namespace {

using asio::ip::udp;
using std::chrono::milliseconds;
using State = Responder::State;

struct Sent {
    milliseconds at;  ///< Since the machine's start.
    Link link;
    std::optional<udp::endpoint> to;
    dns::Message message;
};

/// A machine with an established responder. Its interface number N has the address 10.0.N.1.
class Machine {
public:
    explicit Machine(unsigned links = 1, const std::string& host = "a")
        : responder({"A (x)", "_ndi._tcp", 5961, host}, 1) {
        std::vector<NetInterface> interfaces;
        for (unsigned number = 1; number <= links; ++number) {
            interfaces.push_back({number, "eth", {{address(1, number), 24}}});
        }
        responder.setLinks(interfaces, linksOf(interfaces), m_now);
        EXPECT_EQ(responder.state(), State::Probing);
        startup = run(5000);
        EXPECT_EQ(responder.state(), State::Established);
    }

    static asio::ip::address address(unsigned host, unsigned link = 1) {
        return asio::ip::address_v4(0x0A000000U | link << 8U | host);
    }

    /// A datagram from `port` of another host, or of this one.
    void receive(const dns::Message& message, std::uint16_t port = kPort, unsigned from = 99,
                 const Link& link = {1, false}, unsigned fromLink = 0) {
        const auto wire = dns::write(message);
        const auto network = fromLink != 0 ? fromLink : link.interfaceIndex;
        responder.receive(link, {address(from, network), port}, wire.data(), wire.size(), m_now);
    }

    /// What is sent within so many milliseconds, or was sent since the last call.
    std::vector<Sent> run(int ms) {
        std::vector<Sent> all;
        for (const auto end = m_now + milliseconds(ms);; m_now += milliseconds(10)) {
            for (const auto& out : responder.takeOutgoing()) {
                auto message = dns::parse(out.bytes.data(), out.bytes.size());
                EXPECT_TRUE(message);
                all.push_back({std::chrono::duration_cast<milliseconds>(m_now - kStart), out.link,
                               out.to, message.value_or(dns::Message())});
            }
            if (m_now >= end) {
                return all;
            }
            responder.advance(m_now);
        }
    }

    [[nodiscard]] Responder::Time now() const { return m_now; }

    Responder responder;
    std::vector<Sent> startup;  ///< What was sent until the name was established.

private:
    static constexpr Responder::Time kStart{std::chrono::hours(1)};
    Responder::Time m_now = kStart;
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

std::ptrdiff_t countOn(unsigned interfaceIndex, const std::vector<Sent>& all) {
    return std::count_if(all.begin(), all.end(), [&](const Sent& sent) {
        return sent.link.interfaceIndex == interfaceIndex;
    });
}

const dns::Name kType = dns::nameFromText("_ndi._tcp.local");

TEST(Responder, ProbesThenAnnouncesTwice) {
    const Machine machine;
    const auto& sent = machine.startup;
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
    EXPECT_EQ(std::get<dns::Ipv4>(find(announced, dns::kTypeA)->data), (dns::Ipv4{10, 0, 1, 1}));
    EXPECT_FALSE(find(announced, dns::kTypePtr)->cacheFlush);
    EXPECT_EQ(dns::dataBytes(*find(announced, dns::kTypeTxt)), dns::Bytes{0});
    EXPECT_EQ(machine.responder.nextDue(), Responder::Time::max());
}

TEST(Responder, AnswersQuestions) {
    const struct {
        const char* what;
        dns::Name name;
        std::uint16_t type;
        std::size_t answers, additionals;
        dns::Bytes bitmap;  ///< Of NSEC (RFC 4034, 4.1.2): block, length, bits from the highest.
    } cases[] = {
        {"browse", kType, dns::kTypePtr, 1, 4, {}},
        {"browse in capitals", dns::nameFromText("_NDI._TCP.LOCAL"), dns::kTypeAny, 1, 4, {}},
        {"types", dns::nameFromText("_services._dns-sd._udp.local"), dns::kTypePtr, 1, 0, {}},
        {"resolve", instanceName("A (x)"), dns::kTypeSrv, 1, 2, {}},
        {"text", instanceName("A (x)"), dns::kTypeTxt, 1, 0, {}},
        {"everything", instanceName("a (X)"), dns::kTypeAny, 2, 2, {}},
        {"address", {"a", "local"}, dns::kTypeA, 1, 1, {}},
        {"no such address", {"a", "local"}, dns::kTypeAaaa, 1, 0, {0, 1, 0x40}},
        {"no such type", instanceName("A (x)"), dns::kTypeA, 1, 0, {0, 5, 0, 0, 0x80, 0, 0x40}},
        {"another instance", instanceName("B (x)"), dns::kTypeSrv, 0, 0, {}},
    };
    Machine machine;
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        machine.run(1500);
        machine.receive(ask(each.name, each.type));
        const auto sent = machine.run(1500);
        ASSERT_EQ(sent.size(), each.answers == 0 ? 0U : 1U);
        if (sent.empty()) {
            continue;
        }
        EXPECT_FALSE(sent[0].to);
        EXPECT_EQ(sent[0].message.answers.size(), each.answers);
        EXPECT_EQ(sent[0].message.additionals.size(), each.additionals);
        const auto* nsec = find(sent[0].message.answers, dns::kTypeNsec);
        ASSERT_EQ(nsec != nullptr, !each.bitmap.empty());
        if (nsec != nullptr) {
            EXPECT_TRUE(dns::sameName(nsec->name, each.name));
            EXPECT_TRUE(nsec->cacheFlush);
            const auto& data = std::get<dns::Bytes>(nsec->data);
            EXPECT_EQ(dns::Bytes(data.end() - static_cast<long>(each.bitmap.size()), data.end()),
                      each.bitmap);
        }
    }
    // However often it is queried: one answer a second.
    std::size_t sent = 0;
    for (int i = 0; i < 20; ++i) {
        machine.receive(ask(kType, dns::kTypePtr));
        sent += machine.run(100).size();
    }
    EXPECT_GE(sent, 1U);
    EXPECT_LE(sent, 3U);
}

TEST(Responder, AnswersByUnicast) {
    // The sockets share the port: unicast datagrams arrive at any of them.
    Machine machine(2);
    machine.receive(ask(kType, dns::kTypePtr, true), kPort, 99, {1, false}, 2);
    auto sent = machine.run(0);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].link, (Link{2, false}));
    EXPECT_EQ(sent[0].to, udp::endpoint(Machine::address(99, 2), kPort));
    EXPECT_EQ(find(sent[0].message.answers, dns::kTypePtr)->ttl, 4500U);

    // More than a quarter of its time to live after the last multicast: multicast again.
    machine.run(40000);
    machine.receive(ask(instanceName("A (x)"), dns::kTypeSrv, true));
    sent = machine.run(200);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_FALSE(sent[0].to);

    // A plain DNS client gets its id and question back, and a short time to live.
    auto legacy = ask(kType, dns::kTypePtr);
    legacy.id = 77;
    machine.receive(legacy, 40000);
    sent = machine.run(0);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].to, udp::endpoint(Machine::address(99), 40000));
    EXPECT_EQ(sent[0].message.id, 77);
    EXPECT_EQ(sent[0].message.questions.size(), 1U);
    EXPECT_LE(sent[0].message.answers.at(0).ttl, 10U);
}

TEST(Responder, SuppressesKnownAnswers) {
    Machine machine;
    dns::Record known;
    known.name = kType;
    known.type = dns::kTypePtr;
    known.data = instanceName("A (x)");
    auto query = ask(kType, dns::kTypePtr);
    for (const auto& [ttl, answers] : {std::pair{4500U, 0U}, {2250U, 0U}, {2000U, 1U}}) {
        known.ttl = ttl;
        query.answers = {known};
        machine.receive(query);
        EXPECT_EQ(machine.run(1500).size(), answers) << ttl;
    }
    // The known answers follow in a second message.
    query.answers.clear();
    query.truncated = true;
    machine.receive(query);
    EXPECT_TRUE(machine.run(200).empty());
    dns::Message more;
    known.ttl = 4500;
    more.answers = {known};
    machine.receive(more);
    EXPECT_TRUE(machine.run(1500).empty());
}

/// RFC 6762, 8.2: of two hosts that probe at the same time the one with the greater record wins.
TEST(Responder, LetsTheGreaterOfTwoSimultaneousRecordsGoFirst) {
    for (const std::uint16_t port : std::vector<std::uint16_t>{5960, 5962}) {
        Machine machine;
        machine.responder.startOver(machine.now());
        machine.run(300);
        auto probe = ask(instanceName("A (x)"), dns::kTypeAny);
        probe.authorities = claimInstance("a.local").answers;
        std::get<dns::Srv>(probe.authorities[0].data).port = port;
        probe.authorities.push_back(machine.startup[0].message.authorities[1]);  // TXT
        machine.receive(probe);
        machine.run(1000);
        EXPECT_EQ(machine.responder.state() == State::Established, port < 5961);
    }
}

TEST(Responder, ProbesAgainOnAConflict) {
    const struct {
        const char* host;
        unsigned from;
        std::string takenBy;
    } rivals[] = {{"other.local", 99, "another host (10.0.1.99)"},
                  {"a.local", 1, "another program on this host"}};
    for (const auto& each : rivals) {
        Machine machine;
        const auto& one = machine.responder;
        dns::Message rival = claimInstance(each.host);
        machine.receive(rival, 40000, each.from);  // Not from the mDNS port: from no responder.
        EXPECT_EQ(one.state(), State::Established);
        rival.answers[0].ttl = 0;  // A goodbye is no conflict.
        machine.receive(rival, kPort, each.from);
        EXPECT_EQ(one.state(), State::Established);

        rival.answers[0].ttl = 120;
        machine.receive(rival, kPort, each.from);
        EXPECT_EQ(one.state(), State::Probing);
        machine.run(1200);  // The other one gives way.
        EXPECT_EQ(one.state(), State::Established);

        machine.receive(rival, kPort, each.from);
        machine.run(400);
        machine.receive(rival, kPort, each.from);  // The other one defends it.
        EXPECT_EQ(one.state(), State::NameTaken);
        EXPECT_EQ(one.nameTakenBy(), each.takenBy);
    }
}

TEST(Responder, GivesUpTheHostNameToAnotherMachineOnly) {
    Machine machine(2);
    dns::Message owner = claim({"a", "local"}, dns::kTypeA, dns::Ipv4{10, 0, 1, 1});
    machine.receive(owner, kPort, 1);  // Another responder of this machine, the same address ...
    owner.answers[0].data = dns::Ipv4{192, 168, 7, 1};
    machine.receive(owner, kPort, 1);  // ... or an address of an interface that we do not use.
    EXPECT_EQ(machine.responder.state(), State::Established);
    EXPECT_EQ(machine.responder.hostName(), "a");

    machine.receive(owner, kPort, 9);
    EXPECT_EQ(machine.responder.hostName(), "a-2");
    const auto sent = machine.run(3000);
    EXPECT_EQ(machine.responder.state(), State::Established);
    EXPECT_EQ(countOn(2, sent), 2) << "announced again";
    const auto* srv = find(sent.back().message.answers, dns::kTypeSrv);
    EXPECT_EQ(dns::nameToText(std::get<dns::Srv>(srv->data).target), "a-2.local");
    machine.receive(machine.startup.back().message, kPort, 1, machine.startup.back().link);
    EXPECT_TRUE(machine.run(1000).empty()) << "its own datagram from before is no conflict";
}

TEST(Responder, DefendsItsNameAtALimitedRate) {
    Machine machine;
    dns::Message probe = ask(instanceName("A (x)"), dns::kTypeAny);
    probe.authorities = {{instanceName("A (x)"), dns::kTypeSrv, dns::kClassIn, false, 120,
                          dns::Srv{0, 0, 6000, dns::nameFromText("other.local")}}};
    std::size_t sent = 0;
    for (int i = 0; i < 100; ++i) {
        machine.receive(probe);
        sent += machine.run(10).size();
        EXPECT_GE(sent, 1U) << "the first answer is not delayed";
    }
    EXPECT_GE(sent, 4U);
    EXPECT_LE(sent, 5U);
}

/// RFC 6762, 8.1.
TEST(Responder, BacksOffAfterManyConflicts) {
    Machine machine(1, std::string(63, 'h'));
    for (int i = 0; i < 1000; ++i) {
        machine.receive(
            claim({machine.responder.hostName(), "local"}, dns::kTypeA, dns::Ipv4{10, 0, 1, 9}));
        machine.run(10);
        ASSERT_LE(machine.responder.hostName().size(), 63U);
        ASSERT_EQ(machine.responder.hostName().substr(60 - (i > 7) - (i > 97) - (i > 997)),
                  "h-" + std::to_string(i + 2));
    }
    EXPECT_TRUE(machine.run(4900).empty()) << "no probe for five seconds";
    machine.run(2000);
    EXPECT_EQ(machine.responder.state(), State::Established);
}

TEST(Responder, KeepsItsNameOnOneLinkWhileItIsInDoubtOnTheOther) {
    Machine machine(2);
    const dns::Message rival = claimInstance("other.local");
    machine.receive(rival);
    EXPECT_EQ(machine.responder.state(), State::Established);
    machine.receive(ask(instanceName("A (x)"), dns::kTypeSrv), kPort, 9, {2, false});
    EXPECT_EQ(countOn(2, machine.run(20)), 1) << "answered";

    machine.run(280);
    machine.receive(rival);
    EXPECT_EQ(machine.responder.state(), State::NameTaken);
    machine.run(0);
    machine.responder.rename("A (x1)", machine.now());
    const auto renamed = machine.run(5000);
    EXPECT_EQ(machine.responder.state(), State::Established);
    EXPECT_EQ(countOn(1, renamed), 5) << "probes and announcements";
    EXPECT_EQ(countOn(2, renamed), 6) << "a goodbye for the old name, too";
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
