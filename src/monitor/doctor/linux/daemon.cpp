// The Avahi daemon.
#include <avahi-client/client.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>
#include <fmt/format.h>

#include <memory>

#include "monitor/doctor/checks.h"

namespace monitor::doctor {
namespace {

constexpr char kCheck[] = "Avahi";

template <auto freeFunction>
struct Free {
    template <typename Handle>
    void operator()(Handle* handle) const {
        freeFunction(handle);
    }
};

void ignoreChange(AvahiClient*, AvahiClientState, void*) {}

}  // namespace

Findings checkDaemon() {
    const std::unique_ptr<AvahiSimplePoll, Free<avahi_simple_poll_free>> poll(
        avahi_simple_poll_new());
    int error = 0;
    const std::unique_ptr<AvahiClient, Free<avahi_client_free>> client(
        poll ? avahi_client_new(avahi_simple_poll_get(poll.get()), AvahiClientFlags{},
                                &ignoreChange, nullptr, &error)
             : nullptr);
    if (!client) {
        return {{Level::Ok, kCheck,
                 fmt::format("not used ({}); sources are announced by the built-in responder",
                             avahi_strerror(error)),
                 "", ""}};
    }
    const char* version = avahi_client_get_version_string(client.get());
    const char* host = avahi_client_get_host_name_fqdn(client.get());
    const std::string who = fmt::format("{} runs, as {}", version != nullptr ? version : "it",
                                        host != nullptr ? host : "a machine without name");
    const char* const kAdvice =
        "systemctl restart avahi-daemon; \"journalctl -u avahi-daemon\" says what is wrong";
    switch (avahi_client_get_state(client.get())) {
        case AVAHI_CLIENT_S_RUNNING:
            return {{Level::Ok, kCheck, who, "", ""}};
        case AVAHI_CLIENT_S_COLLISION:
            return {{Level::Problem, kCheck, who + ": its host name is taken by another machine",
                     "sources are not announced until it has another name", "rename this machine"}};
        case AVAHI_CLIENT_S_REGISTERING:
            return {{Level::Warning, kCheck, who + ": it is still registering its host name",
                     "sources are announced when it has", "try again in a moment"}};
        default:
            return {{Level::Problem, kCheck, who + ": it has failed",
                     "sources are not announced through it", kAdvice}};
    }
}

}  // namespace monitor::doctor
