#pragma once
// The controls of the window by name, for programs that operate it: tests and scripts.

#include <QMap>
#include <QString>
#include <QWidget>

class CaptureROI;
class NDISenderUI;

namespace windowcontrols {

/// name, screen, rate, start, reset, select, show, x, y, w, h, title, language, minimise, close;
/// ok and cancel of the overlay. `window` must be in the state and language of its construction.
[[nodiscard]] QMap<QString, QWidget*> controlsOf(const NDISenderUI& window);

/// The overlay of the only window of this program.
[[nodiscard]] CaptureROI* overlay();

}  // namespace windowcontrols
