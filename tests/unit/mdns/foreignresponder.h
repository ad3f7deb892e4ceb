#pragma once
// A responder on another port of this host that claims a name that it never probed for.

#include <asio/io_context.hpp>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "mdns/announcement.h"
#include "mdns/multicastsockets.h"

namespace tests {

/// Options that number a lost name.
inline mdns::AnnounceOptions numbered(const std::string& name) {
    mdns::AnnounceOptions options;
    options.numberedName = [name](unsigned number) { return name + std::to_string(number); };
    return options;
}

/// Announces an SRV record under `instance` at once and as an answer to every query for that name.
class ForeignResponder {
public:
    explicit ForeignResponder(const std::string& instance)
        : m_name{instance, "_ndi", "_tcp", "local"}, m_thread([this] { run(); }) {}
    ~ForeignResponder() {
        m_context.stop();
        m_thread.join();
    }
    ForeignResponder(const ForeignResponder&) = delete;
    ForeignResponder& operator=(const ForeignResponder&) = delete;

private:
    void run() {
        namespace dns = mdns::dns;
        dns::Message claim;
        claim.response = claim.authoritative = true;
        claim.answers = {{m_name, dns::kTypeSrv, dns::kClassIn, true, 120,
                          dns::Srv{0, 0, 7000, {"foreign", "local"}}}};
        const auto bytes = dns::write(claim);
        mdns::MulticastSockets* sockets = nullptr;
        mdns::MulticastSockets real(m_context, [&](const mdns::Link& link, const auto&,
                                                   const std::uint8_t* data, std::size_t size) {
            const auto query = dns::parse(data, size);
            if (query && !query->response && !query->questions.empty() &&
                dns::sameName(query->questions[0].name, m_name)) {
                sockets->sendToGroup(link, bytes);
            }
        });
        sockets = &real;
        for (const auto& link : real.setInterfaces(mdns::multicastInterfaces())) {
            real.sendToGroup(link, bytes);
        }
        m_context.run();
    }

    const mdns::dns::Name m_name;
    asio::io_context m_context;
    std::thread m_thread;
};

}  // namespace tests
