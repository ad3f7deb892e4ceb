#include "screens/screensdetector.h"

#include <algorithm>
#include <iterator>

#include "screens/wayland/waylandoutputs.h"
#include "support/log.h"
#include "support/x11/monitors.h"

ScreensDetector::ScreensDetector(const std::string& /*host*/, const std::string& /*address*/) {}

struScreensMsg ScreensDetector::getScreens() {
    if (const auto outputs = screens::waylandOutputs(); !outputs.empty()) {
        return screens::waylandScreens(outputs);
    }
    struScreensMsg message;
    std::string error;
    const auto connection = support::x11::Connection::open({}, error);
    if (!connection) {
        HV_WARN("listing the screens of the X display failed: {}", error);
        return message;
    }
    const auto monitors = support::x11::listMonitors(*connection);
    const auto count = std::min(monitors.size(), std::size(message.screens));
    if (count < monitors.size()) {
        HV_WARN("the X display has {} monitors; the first {} are listed", monitors.size(), count);
    }
    for (std::size_t i = 0; i < count; ++i) {
        auto& screen = message.screens[i];
        screen.x = static_cast<std::int16_t>(monitors[i].x);
        screen.y = static_cast<std::int16_t>(monitors[i].y);
        screen.width = static_cast<std::uint16_t>(monitors[i].width);
        screen.height = static_cast<std::uint16_t>(monitors[i].height);
        screen.isDefault = monitors[i].primary ? 1 : 0;
    }
    if (std::none_of(monitors.begin(), monitors.end(), [](const auto& m) { return m.primary; })) {
        message.screens[0].isDefault = 1;  // Not every desktop has a primary monitor.
    }
    message.count = static_cast<std::uint16_t>(count);
    return message;
}
