#include "screens/enumeration.h"

#include <algorithm>
#include <vector>

#include "screens/wayland/waylandoutputs.h"
#include "support/log.h"
#include "support/x11/monitors.h"

namespace screens {
namespace {

using support::x11::Connection;
using support::x11::Monitor;
using support::x11::Owned;

constexpr std::size_t kLongestName = 255;

struct Provider {
    DeviceAdaptorInfo adaptor;
    std::vector<xcb_randr_output_t> outputs;
};

/// RandR's providers are the graphics adapters. Their id in the server serves as device id.
std::vector<Provider> listProviders(const Connection& connection) {
    std::vector<Provider> providers;
    if (!support::x11::hasMonitors(connection)) {
        return providers;
    }
    auto* const c = connection.get();
    const Owned<xcb_randr_get_providers_reply_t> reply(
        xcb_randr_get_providers_reply(c, xcb_randr_get_providers(c, connection.root()), nullptr));
    for (int i = 0; reply && i < xcb_randr_get_providers_providers_length(reply.get()); ++i) {
        const auto id = xcb_randr_get_providers_providers(reply.get())[i];
        const Owned<xcb_randr_get_provider_info_reply_t> info(xcb_randr_get_provider_info_reply(
            c, xcb_randr_get_provider_info(c, id, reply->timestamp), nullptr));
        if (!info) {
            continue;
        }
        Provider provider;
        provider.adaptor.deviceId = id;
        provider.adaptor.adaptorName.assign(
            xcb_randr_get_provider_info_name(info.get()),
            static_cast<std::size_t>(xcb_randr_get_provider_info_name_length(info.get())));
        const auto* outputs = xcb_randr_get_provider_info_outputs(info.get());
        provider.outputs.assign(outputs,
                                outputs + xcb_randr_get_provider_info_outputs_length(info.get()));
        providers.push_back(std::move(provider));
    }
    return providers;
}

/// The one adapter of a server without providers, as virtual servers are.
Provider serverAsProvider(const Connection& connection) {
    const auto* setup = xcb_get_setup(connection.get());
    Provider provider;
    provider.adaptor.deviceId = setup->release_number;
    provider.adaptor.adaptorName.assign(xcb_setup_vendor(setup),
                                        static_cast<std::size_t>(xcb_setup_vendor_length(setup)));
    return provider;
}

/// The provider that drives the monitor's output. A monitor without an output of its own is part of
/// the screen and counted to the first provider.
Provider& providerOf(const Monitor& monitor, std::vector<Provider>& providers) {
    const auto drives = [&monitor](const Provider& provider) {
        return std::find(provider.outputs.begin(), provider.outputs.end(), monitor.output) !=
               provider.outputs.end();
    };
    const auto found = std::find_if(providers.begin(), providers.end(), drives);
    return found != providers.end() ? *found : providers.front();
}

}  // namespace

std::list<DeviceAdaptorInfo> platformAdaptors() {
    if (const auto outputs = waylandOutputs(); !outputs.empty()) {
        return waylandAdaptors(outputs);
    }
    std::string error;
    const auto connection = Connection::open({}, error);
    if (!connection) {
        HV_WARN("listing the outputs of the X display failed: {}", error);
        return {};
    }
    auto providers = listProviders(*connection);
    if (providers.empty()) {
        providers.push_back(serverAsProvider(*connection));
    }
    for (const auto& monitor : support::x11::listMonitors(*connection)) {
        providerOf(monitor, providers)
            .adaptor.outputs.push_back({monitor.x, monitor.y, monitor.x + monitor.width,
                                        monitor.y + monitor.height, monitor.name});
    }
    std::list<DeviceAdaptorInfo> adaptors;
    for (auto& provider : providers) {
        provider.adaptor.adaptorName.resize(
            std::min(provider.adaptor.adaptorName.size(), kLongestName));
        adaptors.push_back(std::move(provider.adaptor));
    }
    return adaptors;
}

}  // namespace screens
