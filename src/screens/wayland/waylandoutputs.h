#pragma once
// The compositor's outputs as the program's screens and adapters.
//
// A screen begins at its place in the compositor's layout, which is where X11 programs see it, and
// has its size in physical pixels. Screens of a scale above 1 so overlap in the list; nothing but
// their corners is ever compared.

#include <list>
#include <vector>

#include "screens/adaptorinfo.h"
#include "screens/screensdetector.h"
#include "support/wayland/module.h"

namespace screens {

/// Empty outside a Wayland session, and where the compositor can't be asked, which is logged.
[[nodiscard]] std::vector<support::wayland::Output> waylandOutputs();

/// One adapter, which stands for the compositor.
[[nodiscard]] std::list<DeviceAdaptorInfo> waylandAdaptors(
    const std::vector<support::wayland::Output>& outputs);

/// The first 20 outputs; the one at the layout's origin is the default.
[[nodiscard]] struScreensMsg waylandScreens(const std::vector<support::wayland::Output>& outputs);

}  // namespace screens
