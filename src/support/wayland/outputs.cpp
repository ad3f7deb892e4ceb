#include "support/wayland/outputs.h"

#include <wayland-client.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <list>
#include <memory>
#include <utility>

#include "xdg-output-unstable-v1.h"

namespace support::wayland {
namespace {

constexpr std::uint32_t kOutputVersion = 4;     ///< The first that tells the name.
constexpr std::uint32_t kXdgOutputVersion = 3;  ///< It tells the name of older ones.

struct Disconnect {
    void operator()(wl_display* display) const { wl_display_disconnect(display); }
};

/// One output while its events come in.
struct Heard {
    wl_output* proxy = nullptr;
    zxdg_output_v1* details = nullptr;
    Output output;
    int scale = 1;
    bool turned = false;  ///< By 90 or 270 degrees.
};

struct Registry {
    std::list<Heard> outputs;
    zxdg_output_manager_v1* details = nullptr;
};

void onGeometry(void* data, wl_output* /*proxy*/, std::int32_t x, std::int32_t y,
                std::int32_t /*widthMm*/, std::int32_t /*heightMm*/, std::int32_t /*subpixel*/,
                const char* /*make*/, const char* /*model*/, std::int32_t transform) {
    auto& heard = *static_cast<Heard*>(data);
    heard.output.x = x;
    heard.output.y = y;
    heard.turned = (transform & 1) != 0;
}

void onMode(void* data, wl_output* /*proxy*/, std::uint32_t flags, std::int32_t width,
            std::int32_t height, std::int32_t /*refresh*/) {
    if ((flags & WL_OUTPUT_MODE_CURRENT) != 0) {
        auto& output = static_cast<Heard*>(data)->output;
        output.width = width;
        output.height = height;
    }
}

void onDone(void* /*data*/, wl_output* /*proxy*/) {}

void onScale(void* data, wl_output* /*proxy*/, std::int32_t factor) {
    static_cast<Heard*>(data)->scale = std::max(1, factor);
}

void onName(void* data, wl_output* /*proxy*/, const char* name) {
    static_cast<Heard*>(data)->output.name = name;
}

void onDescription(void* /*data*/, wl_output* /*proxy*/, const char* /*text*/) {}

constexpr wl_output_listener kOutputEvents = {onGeometry, onMode, onDone,
                                              onScale,    onName, onDescription};

void onLogicalPosition(void* data, zxdg_output_v1* /*proxy*/, std::int32_t x, std::int32_t y) {
    auto& output = static_cast<Heard*>(data)->output;
    output.x = x;
    output.y = y;
}

void onLogicalSize(void* data, zxdg_output_v1* /*proxy*/, std::int32_t width, std::int32_t height) {
    auto& output = static_cast<Heard*>(data)->output;
    output.logicalWidth = width;
    output.logicalHeight = height;
}

void onDetailsDone(void* /*data*/, zxdg_output_v1* /*proxy*/) {}

void onDetailsName(void* data, zxdg_output_v1* /*proxy*/, const char* name) {
    static_cast<Heard*>(data)->output.name = name;
}

void onDetailsDescription(void* /*data*/, zxdg_output_v1* /*proxy*/, const char* /*text*/) {}

constexpr zxdg_output_v1_listener kDetailsEvents = {onLogicalPosition, onLogicalSize, onDetailsDone,
                                                    onDetailsName, onDetailsDescription};

void onGlobal(void* data, wl_registry* registry, std::uint32_t number, const char* interface,
              std::uint32_t version) {
    auto& all = *static_cast<Registry*>(data);
    if (std::strcmp(interface, wl_output_interface.name) == 0 && version >= 2) {
        Heard& heard = all.outputs.emplace_back();
        heard.proxy = static_cast<wl_output*>(wl_registry_bind(
            registry, number, &wl_output_interface, std::min(version, kOutputVersion)));
        wl_output_add_listener(heard.proxy, &kOutputEvents, &heard);
    } else if (std::strcmp(interface, zxdg_output_manager_v1_interface.name) == 0) {
        all.details = static_cast<zxdg_output_manager_v1*>(
            wl_registry_bind(registry, number, &zxdg_output_manager_v1_interface,
                             std::min(version, kXdgOutputVersion)));
    }
}

void onGlobalGone(void* /*data*/, wl_registry* /*registry*/, std::uint32_t /*number*/) {}

constexpr wl_registry_listener kRegistryEvents = {onGlobal, onGlobalGone};

Output finished(const Heard& heard, std::size_t number) {
    Output output = heard.output;
    if (heard.turned) {
        std::swap(output.width, output.height);
    }
    if (output.logicalWidth <= 0 || output.logicalHeight <= 0) {
        output.logicalWidth = output.width / heard.scale;
        output.logicalHeight = output.height / heard.scale;
    }
    if (output.name.empty()) {
        output.name = "output " + std::to_string(number);
    }
    return output;
}

}  // namespace

bool listOutputs(std::vector<Output>& outputs, std::string& error) {
    outputs.clear();
    const std::unique_ptr<wl_display, Disconnect> display(wl_display_connect(nullptr));
    if (!display) {
        error = "no compositor answers at WAYLAND_DISPLAY";
        return false;
    }
    Registry all;
    wl_registry* registry = wl_display_get_registry(display.get());
    wl_registry_add_listener(registry, &kRegistryEvents, &all);
    bool heardAll = wl_display_roundtrip(display.get()) >= 0;
    for (Heard& heard : all.outputs) {
        if (all.details != nullptr) {
            heard.details = zxdg_output_manager_v1_get_xdg_output(all.details, heard.proxy);
            zxdg_output_v1_add_listener(heard.details, &kDetailsEvents, &heard);
        }
    }
    heardAll = heardAll && wl_display_roundtrip(display.get()) >= 0;
    for (const Heard& heard : all.outputs) {
        if (heard.output.width > 0 && heard.output.height > 0) {
            outputs.push_back(finished(heard, outputs.size()));
        }
        if (heard.details != nullptr) {
            zxdg_output_v1_destroy(heard.details);
        }
        wl_output_destroy(heard.proxy);
    }
    if (all.details != nullptr) {
        zxdg_output_manager_v1_destroy(all.details);
    }
    wl_registry_destroy(registry);
    error = !heardAll         ? "the compositor closed the connection"
            : outputs.empty() ? "the compositor has no outputs"
                              : "";
    return error.empty();
}

}  // namespace support::wayland
