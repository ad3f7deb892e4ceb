#include "mdns/netinterfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "support/log.h"

namespace mdns {
namespace {

unsigned bitsSet(const asio::ip::address& mask) {
    const auto count = [](const auto& bytes) {
        unsigned bits = 0;
        for (unsigned byte : bytes) {
            for (; byte != 0; byte &= byte - 1) {
                ++bits;
            }
        }
        return bits;
    };
    return mask.is_v4() ? count(mask.to_v4().to_bytes()) : count(mask.to_v6().to_bytes());
}

bool isUsable(const ifaddrs& entry) {
    constexpr unsigned kNeeded = IFF_UP | IFF_RUNNING | IFF_MULTICAST;
    return (entry.ifa_flags & kNeeded) == kNeeded && entry.ifa_addr != nullptr &&
           entry.ifa_netmask != nullptr &&
           (entry.ifa_addr->sa_family == AF_INET || entry.ifa_addr->sa_family == AF_INET6);
}

}  // namespace

std::vector<NetInterface> multicastInterfaces() {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        HV_WARN("listing the network interfaces failed: {}",
                std::generic_category().message(errno));
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> holder(list, &freeifaddrs);

    std::vector<NetInterface> found;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        const unsigned index = isUsable(*entry) ? if_nametoindex(entry->ifa_name) : 0;
        if (index == 0) {
            continue;
        }
        auto place = std::find_if(found.begin(), found.end(),
                                  [&](const NetInterface& known) { return known.index == index; });
        if (place == found.end()) {
            place = found.insert(found.end(), NetInterface{index, entry->ifa_name, {}});
        }
        place->addresses.push_back(
            {toAddress(*entry->ifa_addr), bitsSet(toAddress(*entry->ifa_netmask))});
    }
    return found;
}

void shareMulticastPort(asio::ip::udp::socket::native_handle_type socket, bool v6) {
    const int yes = 1;
    const int no = 0;
    setsockopt(socket, SOL_SOCKET, SO_REUSEPORT, &yes, sizeof yes);
#ifdef IP_MULTICAST_ALL
    if (!v6) {
        setsockopt(socket, IPPROTO_IP, IP_MULTICAST_ALL, &no, sizeof no);
    }
#endif
#ifdef IPV6_MULTICAST_ALL
    if (v6) {
        setsockopt(socket, IPPROTO_IPV6, IPV6_MULTICAST_ALL, &no, sizeof no);
    }
#endif
}

}  // namespace mdns
