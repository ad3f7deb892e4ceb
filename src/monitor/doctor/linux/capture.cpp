#include <fmt/format.h>

#include <cstdlib>

#include "monitor/doctor/checks.h"
#include "monitor/doctor/linux/x11server.h"
#include "support/wayland/module.h"
#include "support/wayland/session.h"

namespace monitor::doctor {
namespace {

namespace wayland = support::wayland;

constexpr char kCheck[] = "capture";

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

Findings checkX11() {
    const std::string display = variable("DISPLAY");
    const auto server = askX11Server({"DAMAGE", "MIT-SHM", "RANDR", "XFIXES"});
    if (!server.error.empty()) {
        return {{Level::Problem, kCheck, fmt::format("X11 session, {}: {}", display, server.error),
                 "the screen can't be captured", "start the program inside the desktop session"}};
    }
    Findings findings;
    for (const auto& name : server.missing) {
        findings.push_back({Level::Warning, kCheck,
                            fmt::format("the X server at {} has no extension {}", display, name),
                            name == "DAMAGE" ? "every frame is read completely, whatever changed"
                            : name == "MIT-SHM"
                                ? "frames come through the connection, which is slow"
                                : "monitors are not told apart",
                            "enable the extension, or use another X server"});
    }
    if (display.find(':') != 0 && display.rfind("unix:", 0) != 0) {
        findings.push_back({Level::Warning, kCheck,
                            fmt::format("the X server {} may be another machine", display),
                            "frames come over the network, which is slow",
                            "run the program on the machine whose screen it sends"});
    }
    if (findings.empty()) {
        findings.push_back(
            {Level::Ok, kCheck,
             fmt::format("X11 session, {}: DAMAGE, MIT-SHM, RANDR and XFIXES", display), "", ""});
    }
    return findings;
}

Finding describePortal(const wayland::CastSupport& cast) {
    return cast.portalError.empty()
               ? Finding{Level::Ok, kCheck, "Wayland session, " + cast.portal, "", ""}
               : Finding{Level::Problem, kCheck, "Wayland session, " + cast.portalError,
                         "the desktop can't be asked for its screen",
                         "install xdg-desktop-portal and the back end of your desktop "
                         "(xdg-desktop-portal-gnome, -kde, -wlr), and log in anew"};
}

Finding describePipeWire(const wayland::CastSupport& cast) {
    return cast.pipeWireError.empty()
               ? Finding{Level::Ok, kCheck,
                         fmt::format("PipeWire: daemon {}, library {}", cast.pipeWireDaemon,
                                     cast.pipeWireLibrary),
                         "", ""}
               : Finding{Level::Problem, kCheck,
                         fmt::format("PipeWire (library {}): {}", cast.pipeWireLibrary,
                                     cast.pipeWireError),
                         "the frames of the screen can't arrive",
                         "install pipewire and wireplumber; systemctl --user start pipewire "
                         "wireplumber"};
}

Findings checkWayland() {
    wayland::ModuleError error;
    const auto describe = reinterpret_cast<wayland::DescribeCast>(
        wayland::moduleFunction(wayland::kDescribeCast, error));
    if (describe == nullptr) {
        return {{Level::Problem, kCheck,
                 "Wayland session, its module can't be loaded: " + error.reason,
                 "the screen can't be captured",
                 error.advice + "; it needs libpipewire-0.3-0, libglib2.0-0, libwayland-client0"}};
    }
    wayland::CastSupport cast;
    describe(cast);
    return {describePortal(cast), describePipeWire(cast)};
}

}  // namespace

Findings checkCapture() {
    if (variable("DISPLAY").empty() && variable("WAYLAND_DISPLAY").empty()) {
        return {{Level::Ok, kCheck, "not checked: there is no graphical session here", "", ""}};
    }
    return wayland::isWaylandSession() ? checkWayland() : checkX11();
}

}  // namespace monitor::doctor
