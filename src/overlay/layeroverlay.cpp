#include "overlay/layeroverlay.h"

#include <LayerShellQt/window.h>

#include <QGuiApplication>
#include <QScreen>
#include <QToolTip>
#include <QWindow>

#include "ui/physicalpixels.h"

namespace overlay {
namespace {

using LayerShellQt::Window;

constexpr QPoint kTipOffset(-66, -15);  ///< From the pointer to the size of the selection.

}  // namespace

LayerOverlay::LayerOverlay() : CaptureROI(1, 1, nullptr), m_tip(this) {
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    (void)winId();  // Creates the window's handle.
    Window* surface = Window::get(windowHandle());
    surface->setLayer(Window::LayerOverlay);
    surface->setAnchors(
        {Window::AnchorTop | Window::AnchorBottom | Window::AnchorLeft | Window::AnchorRight});
    surface->setExclusiveZone(-1);  // Panels reserve no place from it.
    surface->setScope("tarsin-overlay");

    m_tip.setFont(QToolTip::font());
    m_tip.setPalette(QToolTip::palette());
    m_tip.setBackgroundRole(QPalette::ToolTipBase);
    m_tip.setForegroundRole(QPalette::ToolTipText);
    m_tip.setAutoFillBackground(true);
    m_tip.setFrameShape(QFrame::Box);
    m_tip.setMargin(1);
    m_tip.hide();
}

void LayerOverlay::setScreenGeometry(int x, int y, int w, int h) {
    m_screen = {x, y, w, h};
    ui::PhysicalPixels::setScreens({m_screen});
    cover();
}

/// A layer surface stays on its output and has its scale, so it is shown anew.
void LayerOverlay::cover() {
    const bool shown = isVisible();
    CaptureROI::setScreenGeometry(m_screen.x(), m_screen.y(), m_screen.width(), m_screen.height());
    slotCancel();  // Hides it, and what is drawn next has the new size.
    setVisible(shown);
}

void LayerOverlay::setShowROI(bool on) {
    CaptureROI::setShowROI(on);
    Window::get(windowHandle())
        ->setKeyboardInteractivity(on ? Window::KeyboardInteractivityNone
                                      : Window::KeyboardInteractivityExclusive);
}

void LayerOverlay::setVisible(bool visible) {
    if (visible && !isVisible()) {
        place();
    }
    const bool wasVisible = isVisible();
    CaptureROI::setVisible(visible);
    if (wasVisible && !visible) {
        emit hidden();
    }
}

void LayerOverlay::place() {
    const QPoint corner = m_screen.topLeft();
    QScreen* screen = QGuiApplication::screenAt(ui::PhysicalPixels::at(corner).toQt(corner));
    if (screen == nullptr) {
        return;  // It has gone, and the program does not know yet.
    }
    connect(screen, &QScreen::geometryChanged, this, &LayerOverlay::cover, Qt::UniqueConnection);
    windowHandle()->setScreen(screen);
    Window::get(windowHandle())->setDesiredOutput(screen);
}

/// Not the widget's own mask: the surface is not cut to its shape, which is for input only, so what
/// lies outside has to be painted, too.
void LayerOverlay::setShape(const QRegion& shape) {
    windowHandle()->setMask(shape);
    update();
}

/// A tool tip would be a layer surface, too: at the edge of the screen, and below this one in sway.
void LayerOverlay::showSize(QPoint at, const QString& size) {
    const QPoint place = ui::PhysicalPixels::at(m_screen.topLeft()).distanceToQt(at) + kTipOffset;
    m_tip.setText(size);
    m_tip.adjustSize();
    m_tip.move(qMax(0, place.x()), qMax(0, place.y()));
    m_tip.show();
}

void LayerOverlay::mouseReleaseEvent(QMouseEvent* event) {
    m_tip.hide();
    CaptureROI::mouseReleaseEvent(event);
}

}  // namespace overlay
