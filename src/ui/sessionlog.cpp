#include "ui/sessionlog.h"

#include <QGuiApplication>
#include <QSysInfo>

#include "support/log.h"
#include "ui/physicalpixels.h"

namespace ui {

namespace {

std::string variable(const char* name) {
    const QByteArray value = qgetenv(name);
    return value.isEmpty() ? "not set" : value.toStdString();
}

}  // namespace

void logSession(const struScreensMsg& screens, const SessionSettings& settings) {
    HV_INFO("TarsinNDI {} starts on {}, {}; window system {}, session type {}, display {}",
            TARSIN_VERSION, QSysInfo::prettyProductName().toStdString(),
            QSysInfo::currentCpuArchitecture().toStdString(),
            QGuiApplication::platformName().toStdString(), variable("XDG_SESSION_TYPE"),
            variable("DISPLAY"));
    for (int i = 0; i < screens.count; ++i) {
        const struScreenItem& screen = screens.screens[i];
        const auto pixels =
            PhysicalPixels::at(QPoint(screen.x + screen.width / 2, screen.y + screen.height / 2));
        HV_INFO("screen {}: {}x{} at {},{}, scale {}{}", i, screen.width, screen.height, screen.x,
                screen.y, pixels.factor(), screen.isDefault != 0 ? ", primary" : "");
    }
    HV_INFO("settings in {}: name \"{}\", screen {}, {} fps, capture path {}", settings.file,
            settings.name, settings.screenIndex, settings.frameRate,
            settings.forceUseOldCapture ? "FFmpeg, forced by forceUseOldCapture" : "default");
}

}  // namespace ui
