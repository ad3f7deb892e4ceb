#pragma once
// The monitors of an X screen.

#include <xcb/randr.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/monitorevents.h"
#include "support/x11/connection.h"

namespace support::x11 {

/// One active RandR monitor: normally an output, or several outputs combined, or a part of the
/// screen that the user declared to be a monitor.
struct Monitor {
    /// The name of its first output (HDMI-1), or the monitor's own name when it has no output.
    /// Unique.
    std::string name;
    int x = 0;  ///< Physical pixels from the root window's top-left corner.
    int y = 0;
    int width = 0;  ///< Cut at the root window's edge, at least 1.
    int height = 0;
    bool primary = false;
    xcb_randr_output_t output = XCB_NONE;  ///< The first output, or none.
};

/// Whether the server has RandR 1.5, the first version with monitors. Makes round trips.
[[nodiscard]] bool hasMonitors(const Connection& connection);

/// The active monitors from left to right, then from top to bottom, whichever was plugged in first.
/// A server without RandR 1.5 has one monitor, the whole screen, named "screen". Empty when all are
/// off or the server is gone. Makes several round trips.
[[nodiscard]] std::vector<Monitor> listMonitors(const Connection& connection);

/// Has the server report every change of the monitors to this connection: as ConfigureNotify of the
/// root window and, where it has RandR, as RandR's events, whose first number is returned. Makes
/// round trips.
std::optional<std::uint8_t> selectMonitorEvents(const Connection& connection);

/// The changes of the monitors of the display that DISPLAY names, on a connection of its own. Null
/// when there is no such server.
[[nodiscard]] std::unique_ptr<MonitorEvents> watchMonitors();

}  // namespace support::x11
