// Searches through the Avahi daemon.
#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/address.h>
#include <avahi-common/simple-watch.h>

#include <map>
#include <memory>
#include <tuple>

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

/// One network interface and IP version on which a service is announced.
using Place = std::tuple<AvahiIfIndex, AvahiProtocol>;

/// An announcement, and the address found for each IP version. Resolvers keep reporting changes.
struct Announcement {
    std::map<AvahiProtocol, AvahiServiceResolver*> resolvers;
    std::map<AvahiProtocol, asio::ip::tcp::endpoint> endpoints;
};

/// What the daemon has reported so far. The client owns the handles of the resolvers.
struct Search {
    AvahiClient* client = nullptr;
    std::map<std::string, std::map<Place, Announcement>> found;
    bool daemonLost = false;

    Announcement* announcement(const char* name, const Place& place) {
        const auto source = found.find(name);
        if (source == found.end()) {
            return nullptr;
        }
        const auto announced = source->second.find(place);
        return announced == source->second.end() ? nullptr : &announced->second;
    }
};

void resolved(AvahiServiceResolver* resolver, AvahiIfIndex interface_, AvahiProtocol protocol,
              AvahiResolverEvent event, const char* name, const char*, const char*, const char*,
              const AvahiAddress* address, std::uint16_t port, AvahiStringList*,
              AvahiLookupResultFlags, void* search) {
    auto* announcement = static_cast<Search*>(search)->announcement(name, {interface_, protocol});
    if (announcement == nullptr) {
        return;
    }
    for (const auto& [version, own] : announcement->resolvers) {
        if (own != resolver) {
            continue;
        }
        if (event == AVAHI_RESOLVER_FOUND) {
            announcement->endpoints[version] = {toAddress(*address, interface_), port};
        } else {
            announcement->endpoints.erase(version);
        }
    }
}

void add(Search& search, const Place& place, const char* name, const char* type,
         const char* domain) {
    auto& announcement = search.found[name][place];
    const auto [interface_, protocol] = place;
    for (const AvahiProtocol version : {AVAHI_PROTO_INET, AVAHI_PROTO_INET6}) {
        if (announcement.resolvers.count(version) == 0) {
            announcement.resolvers[version] =
                avahi_service_resolver_new(search.client, interface_, protocol, name, type, domain,
                                           version, AvahiLookupFlags{}, &resolved, &search);
        }
    }
}

void remove(Search& search, const Place& place, const char* name) {
    const auto* announcement = search.announcement(name, place);
    if (announcement == nullptr) {
        return;
    }
    for (const auto& [version, resolver] : announcement->resolvers) {
        if (resolver != nullptr) {
            avahi_service_resolver_free(resolver);
        }
    }
    auto& places = search.found[name];
    places.erase(place);
    if (places.empty()) {
        search.found.erase(name);
    }
}

void browsed(AvahiServiceBrowser*, AvahiIfIndex interface_, AvahiProtocol protocol,
             AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
             AvahiLookupResultFlags, void* data) {
    auto& search = *static_cast<Search*>(data);
    if (event == AVAHI_BROWSER_NEW) {
        add(search, {interface_, protocol}, name, type, domain);
    } else if (event == AVAHI_BROWSER_REMOVE) {
        remove(search, {interface_, protocol}, name);
    }
}

void clientChanged(AvahiClient*, AvahiClientState state, void* search) {
    if (state == AVAHI_CLIENT_FAILURE) {
        static_cast<Search*>(search)->daemonLost = true;
    }
}

FoundSources listOf(const Search& search) {
    FoundSources list;
    for (const auto& [name, places] : search.found) {
        FoundSource source{name, {}};
        for (const auto& [place, announcement] : places) {
            for (const auto& [version, endpoint] : announcement.endpoints) {
                addEndpoint(source, endpoint);
            }
        }
        if (!source.endpoints.empty()) {
            list.push_back(std::move(source));
        }
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
