// winsock2.h must come before everything that may include windows.h.
#include <winsock2.h>
// clang-format off
#include <ws2tcpip.h>
#include <iphlpapi.h>
// clang-format on

#include "mdns/netinterfaces.h"
#include "support/log.h"
#include "support/utf8.h"

namespace mdns {

std::vector<NetInterface> multicastInterfaces() {
    constexpr ULONG kFlags =
        GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    ULONG size = 16 * 1024;
    std::vector<std::uint64_t> buffer;  // 64-bit words align the list.
    ULONG result = ERROR_BUFFER_OVERFLOW;
    IP_ADAPTER_ADDRESSES* list = nullptr;
    for (int attempt = 0; attempt < 3 && result == ERROR_BUFFER_OVERFLOW; ++attempt) {
        buffer.resize(size / sizeof(std::uint64_t) + 1);
        list = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
        result = GetAdaptersAddresses(AF_UNSPEC, kFlags, nullptr, list, &size);
    }
    if (result != NO_ERROR) {
        if (result != ERROR_NO_DATA) {
            HV_WARN("listing the network interfaces failed: error {:#x}", result);
        }
        return {};
    }

    std::vector<NetInterface> found;
    for (const auto* adapter = list; adapter != nullptr; adapter = adapter->Next) {
        if (adapter->OperStatus != IfOperStatusUp || (adapter->Flags & IP_ADAPTER_NO_MULTICAST) ||
            adapter->IfType == IF_TYPE_SOFTWARE_LOOPBACK) {
            continue;
        }
        const DWORD index = adapter->IfIndex != 0 ? adapter->IfIndex : adapter->Ipv6IfIndex;
        NetInterface interface_{index, support::utf8FromWide(adapter->FriendlyName), {}};
        for (const auto* unicast = adapter->FirstUnicastAddress; unicast != nullptr;
             unicast = unicast->Next) {
            interface_.addresses.push_back(
                {toAddress(*unicast->Address.lpSockaddr), unicast->OnLinkPrefixLength});
        }
        if (!interface_.addresses.empty()) {
            found.push_back(std::move(interface_));
        }
    }
    return found;
}

void shareMulticastPort(asio::ip::udp::socket::native_handle_type, bool) {
    // On Windows SO_REUSEADDR shares the port, and a socket receives only from the groups that it
    // joined.
}

}  // namespace mdns
