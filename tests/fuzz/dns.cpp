// Arbitrary datagrams: read, written and read again, and received by a responder while it probes,
// announces and runs.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "mdns/dns.h"
#include "mdns/responder.h"

using namespace mdns;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (const auto message = dns::parse(data, size)) {
        const auto wire = dns::write(*message);
        const auto again = dns::parse(wire.data(), wire.size());
        if (!again || again->answers.size() != message->answers.size()) {
            std::abort();
        }
    }
    constexpr mdns::Link kLink{1, false};
    const mdns::NetInterface on{1, "eth0", {{asio::ip::make_address("10.0.0.1"), 24}}};
    auto now = mdns::Responder::Time(std::chrono::hours(1));
    mdns::Responder responder({"A (x)", "_ndi._tcp", 5961, "a"}, 1);
    responder.setLinks({on}, {kLink}, now);
    for (int step = 0; step < 10; ++step) {
        // From an mDNS host and from a plain DNS client.
        const std::uint16_t port = step % 2 == 0 ? mdns::kPort : 40000;
        responder.receive(kLink, {asio::ip::make_address("10.0.0.9"), port}, data, size, now);
        now += std::chrono::milliseconds(300);
        responder.advance(now);
        for (const auto& out : responder.takeOutgoing()) {
            if (!dns::parse(out.bytes.data(), out.bytes.size())) {
                std::abort();
            }
        }
    }
    return 0;
}
