#pragma once
// Platform functions for the overlay that Qt does not offer.

#include <QWidget>

namespace ui {

/// Whether windows can be translucent now. On X11 only while a compositing manager runs, which can
/// start and stop at any time. Costs a round trip to the X server.
[[nodiscard]] bool windowsCanBeTranslucent();

/// Keeps `window` out of taskbars and pagers. Call it each time before the window is shown.
void keepOffTaskbar(const QWidget& window);

}  // namespace ui
