#include "support/x11/monitors.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <utility>

namespace support::x11 {
namespace {

std::string monitorName(xcb_connection_t* connection, xcb_atom_t atom) {
    const Owned<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(connection, xcb_get_atom_name(connection, atom), nullptr));
    if (!reply) {
        return {};
    }
    return {xcb_get_atom_name_name(reply.get()),
            static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

std::string outputName(xcb_connection_t* connection, xcb_randr_output_t output) {
    const Owned<xcb_randr_get_output_info_reply_t> reply(xcb_randr_get_output_info_reply(
        connection, xcb_randr_get_output_info(connection, output, XCB_CURRENT_TIME), nullptr));
    if (!reply) {
        return {};
    }
    return {reinterpret_cast<const char*>(xcb_randr_get_output_info_name(reply.get())),
            static_cast<std::size_t>(xcb_randr_get_output_info_name_length(reply.get()))};
}

struct Size {
    int width = 0;
    int height = 0;
};

/// The current size of the root window; the connection's setup has the size at connection time.
std::optional<Size> rootSize(const Connection& connection) {
    auto* const c = connection.get();
    const Owned<xcb_get_geometry_reply_t> reply(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, connection.root()), nullptr));
    if (!reply) {
        return {};
    }
    return Size{reply->width, reply->height};
}

Monitor describe(xcb_connection_t* connection, const xcb_randr_monitor_info_t& info, Size root) {
    Monitor monitor;
    monitor.x = info.x;
    monitor.y = info.y;
    monitor.width = std::min<int>(info.width, root.width - info.x);
    monitor.height = std::min<int>(info.height, root.height - info.y);
    monitor.primary = info.primary != 0;
    if (xcb_randr_monitor_info_outputs_length(&info) > 0) {
        monitor.output = *xcb_randr_monitor_info_outputs(&info);
        monitor.name = outputName(connection, monitor.output);
    }
    if (monitor.name.empty()) {
        monitor.name = monitorName(connection, info.name);
    }
    return monitor;
}

class Events : public MonitorEvents {
public:
    explicit Events(std::unique_ptr<Connection> connection) : m_connection(std::move(connection)) {
        selectMonitorEvents(*m_connection);
    }
    [[nodiscard]] int file() const override { return xcb_get_file_descriptor(m_connection->get()); }
    [[nodiscard]] bool read() override {
        bool any = false;
        while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(m_connection->get())}) {
            any = true;
        }
        return any;
    }
    [[nodiscard]] bool alive() const override { return m_connection->alive(); }

private:
    const std::unique_ptr<Connection> m_connection;
};

}  // namespace

bool hasMonitors(const Connection& connection) {
    if (connection.extension(xcb_randr_id) == nullptr) {
        return false;
    }
    auto* const c = connection.get();
    const Owned<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(c, xcb_randr_query_version(c, 1, 5), nullptr));
    return version && std::tie(version->major_version, version->minor_version) >=
                          std::make_tuple(std::uint32_t{1}, std::uint32_t{5});
}

std::vector<Monitor> listMonitors(const Connection& connection) {
    const auto root = rootSize(connection);
    if (!root) {
        return {};
    }
    if (!hasMonitors(connection)) {
        return {Monitor{"screen", 0, 0, root->width, root->height, true, XCB_NONE}};
    }

    auto* const c = connection.get();
    constexpr std::uint8_t kActiveOnly = 1;
    const Owned<xcb_randr_get_monitors_reply_t> reply(xcb_randr_get_monitors_reply(
        c, xcb_randr_get_monitors(c, connection.root(), kActiveOnly), nullptr));
    if (!reply) {
        return {};
    }
    std::vector<Monitor> monitors;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0;
         xcb_randr_monitor_info_next(&it)) {
        const Monitor monitor = describe(c, *it.data, *root);
        if (monitor.width > 0 && monitor.height > 0) {
            monitors.push_back(monitor);
        }
    }
    std::sort(monitors.begin(), monitors.end(), [](const Monitor& a, const Monitor& b) {
        return std::tie(a.x, a.y, a.name) < std::tie(b.x, b.y, b.name);
    });
    return monitors;
}

std::optional<std::uint8_t> selectMonitorEvents(const Connection& connection) {
    auto* const c = connection.get();
    std::optional<std::uint8_t> firstEvent;
    if (hasMonitors(connection)) {
        firstEvent = connection.extension(xcb_randr_id)->first_event;
        xcb_randr_select_input(c, connection.root(),
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    }
    // A monitor that a user declares (xrandr --setmonitor) is reported as a change of the root
    // window only.
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, connection.root(), XCB_CW_EVENT_MASK, &events);
    xcb_flush(c);
    return firstEvent;
}

std::unique_ptr<MonitorEvents> watchMonitors() {
    std::string ignored;
    auto connection = Connection::open({}, ignored);
    return connection ? std::make_unique<Events>(std::move(connection)) : nullptr;
}

}  // namespace support::x11
