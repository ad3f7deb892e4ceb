#include "support/wayland/outputs.h"

#include <wayland-client.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <list>
#include <utility>

#include "xdg-output-unstable-v1.h"

namespace support::wayland {
namespace {

constexpr std::uint32_t kOutputVersion = 4;     ///< The first that tells the name.
constexpr std::uint32_t kXdgOutputVersion = 3;  ///< It tells the name of older ones.

struct Disconnect {
    void operator()(wl_display* display) const { wl_display_disconnect(display); }
};

/// One output as its events tell it.
struct Heard {
    bool& changed;  ///< Set by each event.
    std::uint32_t number = 0;
    wl_output* proxy = nullptr;
    zxdg_output_v1* details = nullptr;
    Output output = {};
    int scale = 1;
    bool turned = false;  ///< By 90 or 270 degrees.
};

Output& noteChange(void* data) {
    auto& heard = *static_cast<Heard*>(data);
    heard.changed = true;
    return heard.output;
}

void onGeometry(void* data, wl_output* /*proxy*/, std::int32_t x, std::int32_t y,
                std::int32_t /*widthMm*/, std::int32_t /*heightMm*/, std::int32_t /*subpixel*/,
                const char* /*make*/, const char* /*model*/, std::int32_t transform) {
    Output& output = noteChange(data);
    output.x = x;
    output.y = y;
    static_cast<Heard*>(data)->turned = (transform & 1) != 0;
}

void onMode(void* data, wl_output* /*proxy*/, std::uint32_t flags, std::int32_t width,
            std::int32_t height, std::int32_t /*refresh*/) {
    if ((flags & WL_OUTPUT_MODE_CURRENT) != 0) {
        Output& output = noteChange(data);
        output.width = width;
        output.height = height;
    }
}

void onDone(void* /*data*/, wl_output* /*proxy*/) {}

void onScale(void* data, wl_output* /*proxy*/, std::int32_t factor) {
    noteChange(data);
    static_cast<Heard*>(data)->scale = std::max(1, factor);
}

void onName(void* data, wl_output* /*proxy*/, const char* name) {
    noteChange(data).name = name;
}

void onDescription(void* /*data*/, wl_output* /*proxy*/, const char* /*text*/) {}

constexpr wl_output_listener kOutputEvents = {onGeometry, onMode, onDone,
                                              onScale,    onName, onDescription};

void onLogicalPosition(void* data, zxdg_output_v1* /*proxy*/, std::int32_t x, std::int32_t y) {
    Output& output = noteChange(data);
    output.x = x;
    output.y = y;
}

void onLogicalSize(void* data, zxdg_output_v1* /*proxy*/, std::int32_t width, std::int32_t height) {
    Output& output = noteChange(data);
    output.logicalWidth = width;
    output.logicalHeight = height;
}

void onDetailsDone(void* /*data*/, zxdg_output_v1* /*proxy*/) {}

void onDetailsName(void* data, zxdg_output_v1* /*proxy*/, const char* name) {
    noteChange(data).name = name;
}

void onDetailsDescription(void* /*data*/, zxdg_output_v1* /*proxy*/, const char* /*text*/) {}

constexpr zxdg_output_v1_listener kDetailsEvents = {onLogicalPosition, onLogicalSize, onDetailsDone,
                                                    onDetailsName, onDetailsDescription};

void release(const Heard& heard) {
    if (heard.details != nullptr) {
        zxdg_output_v1_destroy(heard.details);
    }
    wl_output_destroy(heard.proxy);
}

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

struct OutputWatch::Registry {
    Registry() : display(wl_display_connect(nullptr)) {
        static constexpr wl_registry_listener kEvents = {onGlobal, onGlobalGone};
        if (display) {
            proxy = wl_display_get_registry(display.get());
            wl_registry_add_listener(proxy, &kEvents, this);
            // The first tells which outputs there are, the second what each is like.
            wl_display_roundtrip(display.get());
            wl_display_roundtrip(display.get());
            changed = false;
        }
    }
    ~Registry() {
        for (const Heard& heard : outputs) {
            release(heard);
        }
        if (details != nullptr) {
            zxdg_output_manager_v1_destroy(details);
        }
        if (proxy != nullptr) {
            wl_registry_destroy(proxy);
        }
    }
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    void askForDetails(Heard& heard) const {
        if (details != nullptr && heard.details == nullptr) {
            heard.details = zxdg_output_manager_v1_get_xdg_output(details, heard.proxy);
            zxdg_output_v1_add_listener(heard.details, &kDetailsEvents, &heard);
        }
    }

    static void onGlobal(void* data, wl_registry* registry, std::uint32_t number,
                         const char* interface, std::uint32_t version) {
        auto& all = *static_cast<Registry*>(data);
        if (std::strcmp(interface, wl_output_interface.name) == 0 && version >= 2) {
            Heard& heard = all.outputs.emplace_back(Heard{all.changed, number});
            heard.proxy = static_cast<wl_output*>(wl_registry_bind(
                registry, number, &wl_output_interface, std::min(version, kOutputVersion)));
            wl_output_add_listener(heard.proxy, &kOutputEvents, &heard);
            all.askForDetails(heard);
        } else if (std::strcmp(interface, zxdg_output_manager_v1_interface.name) == 0) {
            all.details = static_cast<zxdg_output_manager_v1*>(
                wl_registry_bind(registry, number, &zxdg_output_manager_v1_interface,
                                 std::min(version, kXdgOutputVersion)));
            for (Heard& heard : all.outputs) {
                all.askForDetails(heard);
            }
        }
    }

    static void onGlobalGone(void* data, wl_registry* /*registry*/, std::uint32_t number) {
        auto& all = *static_cast<Registry*>(data);
        const auto gone = std::find_if(all.outputs.begin(), all.outputs.end(),
                                       [&](const Heard& heard) { return heard.number == number; });
        if (gone != all.outputs.end()) {
            release(*gone);
            all.outputs.erase(gone);
            all.changed = true;
        }
    }

    std::unique_ptr<wl_display, Disconnect> display;
    wl_registry* proxy = nullptr;
    std::list<Heard> outputs;
    zxdg_output_manager_v1* details = nullptr;
    bool changed = false;
};

OutputWatch::OutputWatch() : m_registry(std::make_unique<Registry>()) {}

OutputWatch::~OutputWatch() = default;

std::vector<Output> OutputWatch::outputs() const {
    std::vector<Output> all;
    for (const Heard& heard : m_registry->outputs) {
        if (heard.output.width > 0 && heard.output.height > 0) {
            all.push_back(finished(heard, all.size()));
        }
    }
    return all;
}

bool OutputWatch::connected() const {
    return m_registry->display != nullptr;
}

int OutputWatch::file() const {
    return connected() ? wl_display_get_fd(m_registry->display.get()) : -1;
}

bool OutputWatch::alive() const {
    return connected() && wl_display_get_error(m_registry->display.get()) == 0;
}

bool OutputWatch::read() {
    wl_display* display = m_registry->display.get();
    while (wl_display_prepare_read(display) != 0) {
        if (wl_display_dispatch_pending(display) < 0) {
            return false;
        }
    }
    wl_display_read_events(display);
    wl_display_dispatch_pending(display);
    wl_display_flush(display);  // An output that has come is asked for its description.
    return std::exchange(m_registry->changed, false);
}

bool listOutputs(std::vector<Output>& outputs, std::string& error) {
    const OutputWatch watch;
    outputs = watch.outputs();
    error = !watch.connected() ? "no compositor answers at WAYLAND_DISPLAY"
            : !watch.alive()   ? "the compositor closed the connection"
            : outputs.empty()  ? "the compositor has no outputs"
                               : "";
    return error.empty();
}

}  // namespace support::wayland
