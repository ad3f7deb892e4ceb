// Interfaces and ports.
#include <fmt/format.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include "mdns/netinterfaces.h"
#include "monitor/doctor/checks.h"

namespace monitor::doctor {
namespace {

using asio::ip::tcp;

constexpr std::uint16_t kFirstPort = 5961;   ///< Of a source, unless its settings say otherwise.
constexpr std::uint16_t kLastOpened = 5980;  ///< By the firewall services that are installed.
constexpr std::uint16_t kLastPort = 6960;    ///< That a source tries.

std::string describe(const mdns::NetInterface& each) {
    std::string text;
    for (const auto& entry : each.addresses) {
        text += (text.empty() ? "" : ", ") + entry.address.to_string();
    }
    return fmt::format("{} ({})", each.name, text);
}

bool isLoopback(const mdns::NetInterface& each) {
    return std::all_of(each.addresses.begin(), each.addresses.end(),
                       [](const auto& entry) { return entry.address.is_loopback(); });
}

bool isFree(std::uint16_t port) {
    asio::io_context context;
    tcp::acceptor acceptor(context);
    asio::error_code error;
    acceptor.open(tcp::v4(), error);
    acceptor.bind({tcp::v4(), port}, error);
    return !error;
}

}  // namespace

Findings checkInterfaces() {
    const auto interfaces = mdns::multicastInterfaces();
    std::string names;
    for (const auto& each : interfaces) {
        names += (names.empty() ? "" : ", ") + describe(each);
    }
    const char* const kAdvice =
        "connect a network; \"ip address\" shows the state of each interface";
    if (interfaces.empty()) {
        return {{Level::Problem, "interfaces",
                 "no network interface is up, supports multicast and has an address",
                 "sources can't be announced and none can be found", kAdvice}};
    }
    if (std::all_of(interfaces.begin(), interfaces.end(), isLoopback)) {
        return {{Level::Warning, "interfaces", "only the loopback interface: " + names,
                 "sources are visible on this machine only", kAdvice}};
    }
    return {{Level::Ok, "interfaces", names, "", ""}};
}

Findings checkPorts() {
    int busy = 0;
    std::uint16_t first = 0;
    for (std::uint16_t port = kFirstPort; port <= kLastOpened; ++port) {
        const bool free = isFree(port);
        busy += free ? 0 : 1;
        first = free && first == 0 ? port : first;
    }
    for (std::uint16_t port = kLastOpened + 1; first == 0 && port <= kLastPort; ++port) {
        first = isFree(port) ? port : first;
    }
    const std::string counts =
        fmt::format("{} of the TCP ports {} to {} are in use", busy, kFirstPort, kLastOpened);
    if (first == 0) {
        return {{Level::Problem, "ports",
                 fmt::format("every TCP port from {} to {} is in use", kFirstPort, kLastPort),
                 "no further source can start",
                 "end what uses them (\"ss -tlnp\" lists it), or set firstPort"}};
    }
    if (first > kLastOpened) {
        return {{Level::Warning, "ports",
                 fmt::format("{}; the next source takes {}", counts, first),
                 "firewall rules for the usual ports don't let receivers through to it",
                 "end what uses the ports (\"ss -tlnp\" lists it), or open more of them"}};
    }
    return {
        {Level::Ok, "ports", fmt::format("{}; the next source takes {}", counts, first), "", ""}};
}

}  // namespace monitor::doctor
