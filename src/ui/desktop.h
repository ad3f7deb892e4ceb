#pragma once
// Platform functions that Qt does not offer.

#include <QWidget>
#include <memory>

class CaptureROI;

namespace ui {

/// Whether windows can be translucent now. On X11 only while a compositing manager runs, which can
/// start and stop at any time. Costs a round trip to the X server.
[[nodiscard]] bool windowsCanBeTranslucent();

/// Keeps `window` out of taskbars and pagers. Call it each time before the window is shown.
void keepOffTaskbar(const QWidget& window);

/// Whether a click on a pixel of a translucent window whose alpha is 0 goes to what is behind.
[[nodiscard]] bool clicksPassTransparentPixels();

/// Leaves `window` out of what is captured of its screen, where the system can do so. Call it each
/// time before the window is shown.
void leaveOutOfCapture(const QWidget& window);

/// Whether a compositor places and moves windows, whatever a program asks for: a Wayland session.
[[nodiscard]] bool compositorPlacesWindows();

/// Whether a window of this process can cover a screen but not be laid over it translucently: with
/// Qt's own Wayland platform, unless its windows are layer surfaces.
[[nodiscard]] bool overlayHidesScreen();

/// The overlay that suits the desktop, for a desktop of this size.
[[nodiscard]] std::unique_ptr<CaptureROI> makeOverlay(int width, int height);

/// To be called before the application object is made; ui::prepareApplication() does so. In a
/// Wayland session the program is an X11 client where it can (Xwayland), because only such a one
/// can lay its overlay over a screen. QT_QPA_PLATFORM overrules this.
void chooseWindowSystem();

}  // namespace ui
