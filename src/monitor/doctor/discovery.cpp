// Asks by multicast DNS for a name that this program itself answers for.
#include <fmt/format.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <map>
#include <random>
#include <set>

#include "mdns/multicastsockets.h"
#include "monitor/doctor/checks.h"
#include "support/hostname.h"

namespace monitor::doctor {
namespace {

namespace dns = mdns::dns;
using asio::ip::udp;
using std::chrono::milliseconds;

constexpr char kCheck[] = "multicast DNS";
constexpr std::uint32_t kSeconds = 10;  ///< How long the answer may be kept by others.
constexpr milliseconds kQueryTimes[] = {milliseconds(0), milliseconds(250), milliseconds(750)};
constexpr milliseconds kLastWait{500};

dns::Name uniqueName() {
    return {fmt::format("ndimonitor-{:08x}", std::random_device{}()), "local"};
}

/// Both ends of the conversation. The sockets of the two share port 5353, as programs do.
class Conversation {
public:
    void run() {
        m_links = m_asker.setInterfaces(m_interfaces);
        m_answerer.setInterfaces(m_interfaces);
        milliseconds passed{0};
        for (const auto time : kQueryTimes) {
            m_context.run_for(time - passed);
            passed = time;
            ask();
        }
        m_context.run_for(kLastWait);
    }

    [[nodiscard]] const std::vector<mdns::NetInterface>& interfaces() const { return m_interfaces; }
    [[nodiscard]] bool asked(const mdns::Link& link) const { return m_asked.count(link) != 0; }
    [[nodiscard]] bool answered(const mdns::Link& link) const {
        return m_answered.count(link) != 0;
    }
    [[nodiscard]] const std::string& error() const { return m_asker.lastError(); }

    /// Other machines that answer for this machine's name.
    [[nodiscard]] const std::set<std::string>& namesakes() const { return m_namesakes; }

private:
    void ask() {
        dns::Message query;
        query.questions = {
            {m_name, dns::kTypeTxt}, {m_host, dns::kTypeA}, {m_host, dns::kTypeAaaa}};
        const auto bytes = dns::write(query);
        for (const auto& link : m_links) {
            if (m_asker.sendToGroup(link, bytes)) {
                m_asked.insert(link);
            }
        }
    }

    void answer(const mdns::Link& link, const std::uint8_t* bytes, std::size_t size) {
        const auto query = dns::parse(bytes, size);
        const auto isOurs = [&](const auto& each) { return dns::sameName(each.name, m_name); };
        if (!query || query->response ||
            std::none_of(query->questions.begin(), query->questions.end(), isOurs)) {
            return;
        }
        dns::Message reply;
        reply.response = reply.authoritative = true;
        reply.answers = {{m_name, dns::kTypeTxt, dns::kClassIn, true, kSeconds, dns::Bytes{0}}};
        m_answerer.sendToGroup(link, dns::write(reply));
    }

    void hear(const mdns::Link& link, const udp::endpoint& from, const std::uint8_t* bytes,
              std::size_t size) {
        const auto message = dns::parse(bytes, size);
        if (!message || !message->response) {
            return;
        }
        for (const auto& record : message->answers) {
            if (dns::sameName(record.name, m_name)) {
                m_answered.insert(link);
            } else if (dns::sameName(record.name, m_host) && record.ttl != 0 &&
                       !isOwn(from.address())) {
                m_namesakes.insert(from.address().to_string());
            }
        }
    }

    [[nodiscard]] bool isOwn(const asio::ip::address& address) const {
        return std::any_of(m_interfaces.begin(), m_interfaces.end(), [&](const auto& each) {
            return std::any_of(each.addresses.begin(), each.addresses.end(),
                               [&](const auto& own) { return own.address == address; });
        });
    }

    const dns::Name m_name = uniqueName();
    const dns::Name m_host{support::hostName(), "local"};
    const std::vector<mdns::NetInterface> m_interfaces = mdns::multicastInterfaces();
    asio::io_context m_context;
    mdns::MulticastSockets m_asker{
        m_context, [this](const auto& link, const auto& from, const auto* bytes, std::size_t size) {
            hear(link, from, bytes, size);
        }};
    mdns::MulticastSockets m_answerer{
        m_context, [this](const auto& link, const auto&, const auto* bytes, std::size_t size) {
            answer(link, bytes, size);
        }};
    std::vector<mdns::Link> m_links;
    std::set<mdns::Link> m_asked;
    std::set<mdns::Link> m_answered;
    std::set<std::string> m_namesakes;
};

/// What an interface and an IP version showed.
Finding describe(const Conversation& talk, const mdns::NetInterface& on, const mdns::Link& link) {
    const std::string place = fmt::format("{} ({})", on.name, link.v6 ? "IPv6" : "IPv4");
    // Most receivers use IPv4, and any one way is enough to be found.
    const Level level = link.v6 ? Level::Warning : Level::Problem;
    if (talk.answered(link)) {
        return {Level::Ok, kCheck, place + ": a query and its answer came back", "", ""};
    }
    if (!talk.asked(link)) {
        return {
            level, kCheck, fmt::format("{}: no query could be sent: {}", place, talk.error()),
            "sources are neither announced nor found there",
            "see the system's log for that interface, or another program's claim to UDP port 5353"};
    }
    return {level, kCheck, place + ": a query sent here did not come back",
            "a firewall on this machine drops UDP port 5353: its sources are not found, and it "
            "finds none",
            "allow UDP port 5353 in both directions, with ufw: ufw allow 5353/udp; with firewalld: "
            "firewall-cmd --add-service=mdns"};
}

}  // namespace

Findings checkDiscovery() {
    Conversation talk;
    talk.run();
    Findings findings;
    for (const auto& on : talk.interfaces()) {
        for (const auto& link : mdns::linksOf({on})) {
            // Loopback carries no IPv6 multicast; nobody needs it there.
            const bool needed = !link.v6 || !on.addresses.front().address.is_loopback();
            if (needed || talk.answered(link)) {
                findings.push_back(describe(talk, on, link));
            }
        }
    }
    if (!talk.namesakes().empty()) {
        std::string who;
        for (const auto& each : talk.namesakes()) {
            who += (who.empty() ? "" : ", ") + each;
        }
        findings.push_back(
            {Level::Problem, "names",
             fmt::format("another machine is called {} too: {}", support::hostName(), who),
             "receivers can't tell the sources of the two apart, or reach the wrong one",
             "rename one of them, with hostnamectl for example"});
    }
    return findings;
}

}  // namespace monitor::doctor
