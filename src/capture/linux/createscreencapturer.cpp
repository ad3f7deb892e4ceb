#include "capture/pipewire/createcapturer.h"
#include "capture/x11/x11capturescreen.h"
#include "support/wayland/session.h"

std::unique_ptr<ScreenCapturer> createScreenCapturer() {
    if (support::wayland::isWaylandSession()) {
        return capture::pipewire::createCapturer();
    }
    return std::make_unique<X11CaptureScreen>();
}
