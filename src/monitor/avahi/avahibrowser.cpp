// Searches through the Avahi daemon.
#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/address.h>
#include <avahi-common/simple-watch.h>

#include <map>
#include <memory>

#include "monitor/browser.h"

namespace monitor {
namespace {

using Clock = std::chrono::steady_clock;

template <auto freeFunction>
struct Free {
    template <typename Handle>
    void operator()(Handle* handle) const {
        freeFunction(handle);
    }
};

asio::ip::address toAddress(const AvahiAddress& address, AvahiIfIndex interface_) {
    if (address.proto == AVAHI_PROTO_INET) {
        return asio::ip::address_v4(ntohl(address.data.ipv4.address));
    }
    asio::ip::address_v6::bytes_type bytes;
    std::copy(std::begin(address.data.ipv6.address), std::end(address.data.ipv6.address),
              bytes.begin());
    asio::ip::address_v6 v6(bytes);
    if (v6.is_link_local()) {
        v6.scope_id(static_cast<unsigned long>(interface_));
    }
    return v6;
}

/// What the daemon has reported so far. The client owns the handles of the running resolvers.
struct Search {
    AvahiClient* client = nullptr;
    std::map<std::string, FoundSource> found;
    bool daemonLost = false;
};

void resolved(AvahiServiceResolver* resolver, AvahiIfIndex interface_, AvahiProtocol,
              AvahiResolverEvent event, const char* name, const char*, const char*, const char*,
              const AvahiAddress* address, std::uint16_t port, AvahiStringList*,
              AvahiLookupResultFlags, void* search) {
    if (event == AVAHI_RESOLVER_FOUND) {
        auto& source = static_cast<Search*>(search)->found[name];
        source.name = name;
        addEndpoint(source, {toAddress(*address, interface_), port});
    }
    avahi_service_resolver_free(resolver);
}

void browsed(AvahiServiceBrowser*, AvahiIfIndex interface_, AvahiProtocol protocol,
             AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
             AvahiLookupResultFlags, void* data) {
    auto& search = *static_cast<Search*>(data);
    if (event == AVAHI_BROWSER_NEW) {
        for (const AvahiProtocol wanted : {AVAHI_PROTO_INET, AVAHI_PROTO_INET6}) {
            avahi_service_resolver_new(search.client, interface_, protocol, name, type, domain,
                                       wanted, AvahiLookupFlags{}, &resolved, data);
        }
    } else if (event == AVAHI_BROWSER_REMOVE) {
        search.found.erase(name);
    }
}

void clientChanged(AvahiClient*, AvahiClientState state, void* search) {
    if (state == AVAHI_CLIENT_FAILURE) {
        static_cast<Search*>(search)->daemonLost = true;
    }
}

FoundSources listOf(const Search& search) {
    FoundSources list;
    for (const auto& [name, source] : search.found) {
        list.push_back(source);
    }
    return list;
}

}  // namespace

std::optional<FoundSources> browseThroughDaemon(std::chrono::milliseconds limit,
                                                const Enough& enough) {
    Search search;
    const std::unique_ptr<AvahiSimplePoll, Free<avahi_simple_poll_free>> poll(
        avahi_simple_poll_new());
    if (!poll) {
        return std::nullopt;
    }
    const std::unique_ptr<AvahiClient, Free<avahi_client_free>> client(avahi_client_new(
        avahi_simple_poll_get(poll.get()), AvahiClientFlags{}, &clientChanged, &search, nullptr));
    if (!client) {
        return std::nullopt;
    }
    search.client = client.get();
    if (avahi_service_browser_new(client.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, "_ndi._tcp",
                                  nullptr, AvahiLookupFlags{}, &browsed, &search) == nullptr) {
        return std::nullopt;
    }
    const auto end = Clock::now() + limit;
    while (Clock::now() < end && !search.daemonLost && !enough(listOf(search))) {
        if (avahi_simple_poll_iterate(poll.get(), 100) != 0) {
            break;
        }
    }
    return listOf(search);
}

}  // namespace monitor
