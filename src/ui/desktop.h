#pragma once
// What the overlay needs from the desktop beyond Qt.

#include <QWidget>

namespace ui {

/// Whether a window can let the desktop shine through now. Not on X11 while no compositing manager
/// runs; one may come and go. Costs a round trip to the X server.
[[nodiscard]] bool windowsCanBeTranslucent();

/// Keeps `window` out of taskbars and pagers. To be called each time before it is shown.
void keepOffTaskbar(const QWidget& window);

}  // namespace ui
