#pragma once

#include <list>
#include <string>

#include "session/collaborators.h"
#include "session/rectangle.h"

namespace session {

/// The screens with their outputs, as they were when they were listed.
struct ScreenList {
    struScreensMsg screens;
    std::list<DeviceAdaptorInfo> adaptors;
    Rectangle desktop;  ///< The union of all screens; without screens 1x1 at 0,0.
};

/// Logs a warning when there is no screen.
[[nodiscard]] ScreenList listScreens(const Collaborators& collaborators);

/// What tells a screen apart where its number and size don't suffice: name and scale of its output
/// in a Wayland session; else "".
[[nodiscard]] std::string screenLabel(const ScreenList& list, const struScreenItem& screen);

}  // namespace session
