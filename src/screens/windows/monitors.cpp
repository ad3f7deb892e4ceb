#include "screens/windows/monitors.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "support/log.h"

namespace screens {
namespace {

/// "\\.\DISPLAY2" before "\\.\DISPLAY10".
bool numberedBefore(const Monitor& one, const Monitor& other) {
    return std::make_pair(one.deviceName.size(), one.deviceName) <
           std::make_pair(other.deviceName.size(), other.deviceName);
}

template <typename Field>
Field fit(LONG value) {
    return static_cast<Field>(std::clamp<LONG>(value, std::numeric_limits<Field>::min(),
                                               std::numeric_limits<Field>::max()));
}

BOOL CALLBACK addMonitor(HMONITOR handle, HDC /*context*/, LPRECT /*desktop*/, LPARAM target) {
    MONITORINFOEXW info = {};
    info.cbSize = sizeof(info);
    if (GetMonitorInfoW(handle, &info) != FALSE) {
        reinterpret_cast<std::vector<Monitor>*>(target)->push_back(
            {info.szDevice, info.rcMonitor, (info.dwFlags & MONITORINFOF_PRIMARY) != 0});
    }
    return TRUE;
}

}  // namespace

struScreensMsg screensOf(std::vector<Monitor> monitors) {
    std::sort(monitors.begin(), monitors.end(), numberedBefore);
    struScreensMsg message;
    if (monitors.size() > std::size(message.screens)) {
        HV_WARN("there are {} monitors; only the first {} are listed", monitors.size(),
                std::size(message.screens));
        monitors.resize(std::size(message.screens));
    }
    for (const Monitor& monitor : monitors) {
        struScreenItem& item = message.screens[message.count++];
        item.x = fit<std::int16_t>(monitor.desktop.left);
        item.y = fit<std::int16_t>(monitor.desktop.top);
        item.width = fit<std::uint16_t>(monitor.desktop.right - monitor.desktop.left);
        item.height = fit<std::uint16_t>(monitor.desktop.bottom - monitor.desktop.top);
        item.isDefault = monitor.primary ? 1 : 0;
    }
    return message;
}

}  // namespace screens

ScreensDetector::ScreensDetector(const std::string& /*host*/, const std::string& /*address*/) {}

struScreensMsg ScreensDetector::getScreens() {
    // Physical pixels: the manifest declares the program aware of per-monitor scaling.
    std::vector<screens::Monitor> monitors;
    if (EnumDisplayMonitors(nullptr, nullptr, screens::addMonitor,
                            reinterpret_cast<LPARAM>(&monitors)) == FALSE) {
        HV_WARN("listing the monitors failed: EnumDisplayMonitors reports error {}",
                GetLastError());
    }
    return screens::screensOf(std::move(monitors));
}
