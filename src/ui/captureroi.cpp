#include "ui/captureroi.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QToolTip>
#include <QWindow>
#include <cstdlib>

#include "ui/desktop.h"
#include "ui/translated.h"

namespace {

constexpr QSize kBarSize(100, 40);
constexpr QPoint kBarOffset(-108, -40);  ///< From the selection's end to the button bar.
constexpr QPoint kTipOffset(-68, -31);   ///< From the pointer to the size tool tip.
constexpr int kGrip = 6;                 ///< Physical pixels; width of an opaque frame.
constexpr int kWideGrip = 12;  ///< Of the edge by which a frame that stays on top is held.

QPen redPen(qreal width) {
    return QPen(QBrush(QColor(255, 0, 0, 255)), width, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}

}  // namespace

CaptureROI::CaptureROI(int width, int height, QWidget* parent)
    : QWidget(parent), m_width(width), m_height(height) {
    createButtonBar();
    setWindowTitle("paintTest");
    setMouseTracking(true);
    m_pixels = ui::PhysicalPixels::at(QPoint(m_originX, m_originY));
    setFixedSize(m_pixels.toQt(QSize(width, height)));
    m_basePixmap = QPixmap(width, height);
    m_workPixmap = m_basePixmap;
    setAutoFillBackground(false);
    setWindowFlags(Qt::SubWindow | Qt::FramelessWindowHint);
    if (ui::overlayHidesScreen()) {
        setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    } else if (ui::compositorPlacesWindows()) {
        // Otherwise it would be placed like any window, and on black where it covers a screen.
        setWindowFlag(Qt::X11BypassWindowManagerHint);
    }
    setAttribute(Qt::WA_TranslucentBackground, true);
    // Only the main window decides when the program ends.
    setAttribute(Qt::WA_QuitOnClose, false);
}

void CaptureROI::createButtonBar() {
    m_pButtonBar = new QWidget(this);
    m_pButtonBar->setWindowFlags(m_pButtonBar->windowFlags() | Qt::FramelessWindowHint);
    m_pButtonBar->hide();
    m_pButtonBar->setStyleSheet(
        "QPushButton{height:26px;font-family:\"Microsoft "
        "YaHei\";font-size:13px;padding:0px;background:#262626;color:#FFFFFF;"
        "border:1px solid #B6B6B6;border-radius:4px}"
        "QPushButton:hover{border:1px solid #FF6D00}");
    m_pOkBtn = new QPushButton(translated("zhOkStr"), m_pButtonBar);
    m_pCancelBtn = new QPushButton(translated("zhCancalStr"), m_pButtonBar);
    m_pBarLayout = new QHBoxLayout(m_pButtonBar);
    m_pBarLayout->addWidget(m_pCancelBtn);
    m_pBarLayout->addWidget(m_pOkBtn);
    m_pBarLayout->setContentsMargins(0, 1, 0, 1);
    shareButtonBar();
    connect(m_pOkBtn, SIGNAL(clicked()), this, SLOT(slotConfirm()));
    connect(m_pCancelBtn, SIGNAL(clicked()), this, SLOT(slotCancel()));
}

void CaptureROI::setScreenGeometry(int x, int y, int w, int h) {
    m_originX = x;
    m_originY = y;
    m_width = w;
    m_height = h;
    m_pixels = ui::PhysicalPixels::at(QPoint(x, y));
    setFixedSize(m_pixels.toQt(QSize(w, h)));
    move(m_pixels.toQt(QPoint(x, y)));
    updateMask();
}

void CaptureROI::setSelection(int x, int y, int w, int h) {
    m_region = QRect(x, y, w, h);
    restoreRegion();
    updateMask();
    update();
}

void CaptureROI::restoreRegion() {
    m_left = m_region.x();
    m_top = m_region.y();
    m_right = m_region.x() + m_region.width();
    m_bottom = m_region.y() + m_region.height();
}

void CaptureROI::beginSelection() {
    m_drawing = false;
    m_selected = false;
    m_cleared = false;
    m_moved = false;
    setShowROI(false);
    m_pButtonBar->hide();
    m_left = m_top = m_right = m_bottom = 0;
    unsetCursor();
    if (isVisible() && m_desktopPixmap.isNull()) {
        grabDesktopImage();
    }
    // Escape needs the focus, which not every window manager gives to a new window. In show mode
    // the main window keeps the focus.
    activateWindow();
}

void CaptureROI::setShowROI(bool on) {
    m_showMode = on;
    m_pButtonBar->hide();
    if (on) {
        restoreRegion();
        m_desktopPixmap = QPixmap();
        m_translucent = ui::windowsCanBeTranslucent();
        if (ui::overlayHidesScreen()) {
            hide();
        }
    } else {
        m_moved = false;
        m_dragging = false;
    }
    setMouseTracking(on);
    updateMask();
}

void CaptureROI::setOverlaySize(int width, int height) {
    m_width = width;
    m_height = height;
}

void CaptureROI::slotConfirm() {
    clearSelection();
    hide();
    emit signalConfirmROI(m_originX + m_left, m_originY + m_top, std::abs(m_right - m_left),
                          std::abs(m_bottom - m_top));
}

void CaptureROI::slotCancel() {
    clearSelection();
    restoreRegion();
    update();
    hide();
}

void CaptureROI::slotTranslate() {
    m_pOkBtn->setText(translated("zhOkStr"));
    m_pCancelBtn->setText(translated("zhCancalStr"));
    shareButtonBar();
}

/// Divides the width of the bar by the widths of the texts: in some languages one is much longer.
void CaptureROI::shareButtonBar() {
    constexpr int kPadding = 16;
    for (QPushButton* button : {m_pOkBtn, m_pCancelBtn}) {
        button->ensurePolished();
        const int width = button->fontMetrics().horizontalAdvance(button->text());
        m_pBarLayout->setStretchFactor(button, width + kPadding);
    }
}

void CaptureROI::clearSelection() {
    m_drawing = false;
    m_selected = false;
    m_basePixmap = QPixmap(m_width, m_height);
    m_workPixmap = QPixmap(m_width, m_height);
    m_cleared = true;
}

void CaptureROI::paintEvent(QPaintEvent* /*event*/) {
    if (!m_selected && !m_showMode) {
        paintSelecting();
    } else {
        paintFrame();
        m_selected = false;
    }
    if (!m_showMode && ui::clicksPassTransparentPixels()) {
        catchClicks();
    }
}

/// Makes no pixel wholly transparent. Otherwise a click beside the drawn frame would reach the
/// program behind, which would then bury this window and its buttons.
void CaptureROI::catchClicks() {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOver);
    painter.fillRect(rect(), QColor(255, 255, 255, 1));
}

void CaptureROI::paintSelecting() {
    m_workPixmap.setDevicePixelRatio(1);
    m_workPixmap.fill(QColor(255, 255, 255, 200));
    if (!m_workPixmap.isNull()) {
        QPainter painter(&m_workPixmap);
        painter.setOpacity(0.1);
        painter.setPen(redPen(5.0));
        painter.setBrush(QBrush(Qt::SolidPattern));
        painter.setCompositionMode(QPainter::CompositionMode_Clear);
        if (!m_cleared) {
            painter.drawRect(m_left, m_top, m_right - m_left, m_bottom - m_top);
        }
    }
    m_workPixmap.setDevicePixelRatio(m_pixels.factor());

    QPainter painter(this);
    if (!m_desktopPixmap.isNull()) {
        painter.drawPixmap(rect(), m_desktopPixmap);
    }
    painter.drawPixmap(0, 0, m_workPixmap);
    if (m_drawing) {
        outlineSelection(painter);
    }
    if (!m_drawing) {
        m_basePixmap = m_workPixmap;
    }
}

/// On a white desktop the whitening alone does not show the rectangle.
void CaptureROI::outlineSelection(QPainter& painter) const {
    painter.scale(1 / m_pixels.factor(), 1 / m_pixels.factor());
    painter.setPen(redPen(2.0));
    painter.drawRect(m_left, m_top, m_right - m_left, m_bottom - m_top);
}

void CaptureROI::paintFrame() {
    QPainter painter(this);
    if (m_showMode && !m_translucent) {
        painter.fillRect(rect(), QColor(255, 0, 0));  // The mask cuts this to the frame.
        return;
    }
    if (!m_desktopPixmap.isNull()) {
        painter.drawPixmap(rect(), m_desktopPixmap);
    }
    painter.scale(1 / m_pixels.factor(), 1 / m_pixels.factor());
    painter.setPen(redPen(2.0));
    painter.setOpacity(0.5);
    if (m_showMode) {
        painter.setBrush(QBrush(QColor(255, 0, 0, 80)));
    }
    painter.drawRect(m_showMode ? frameRect()
                                : QRect(m_left, m_top, m_right - m_left, m_bottom - m_top));
}

/// The region shown in show mode, in the overlay's own coordinates.
QRect CaptureROI::frameRect() const {
    return {m_left - m_originX, m_top - m_originY, m_right - m_left, m_bottom - m_top};
}

/// In show mode, restricts the window to the shape of the frame, so that the rest of the desktop
/// can be used.
void CaptureROI::updateMask() {
    if (!m_showMode) {
        setShape({});
        return;
    }
    const QRect frame = frameRect();
    QRegion shape(m_pixels.coveringRect(frame.adjusted(-1, -1, 1, 1)));
    if (!m_translucent || staysOnTop()) {
        const int grip = m_translucent ? kWideGrip : kGrip;
        shape -= QRegion(m_pixels.coveringRect(frame.adjusted(grip, grip, -grip, -grip)));
    }
    shape &= QRegion(rect());
    // Qt takes an empty region for "no mask", which would be the whole window.
    setShape(shape.isEmpty() ? QRegion(-1, -1, 1, 1) : shape);
}

/// Grabs the desktop where windows cannot be translucent.
void CaptureROI::grabDesktopImage() {
    m_desktopPixmap = QPixmap();
    m_translucent = ui::windowsCanBeTranslucent();
    if (ui::overlayHidesScreen()) {
        m_desktopPixmap = QPixmap::fromImage(m_imageSource());
    }
    if (m_translucent) {
        return;
    }
    for (QScreen* screen : QGuiApplication::screens()) {
        if (screen->geometry().contains(pos())) {
            const QPoint from = pos() - screen->geometry().topLeft();
            m_desktopPixmap = screen->grabWindow(0, from.x(), from.y(), width(), height());
        }
    }
}

/// A compositor puts a window on a screen of the program's choice only when it covers that screen.
void CaptureROI::setVisible(bool visible) {
    if (visible && ui::overlayHidesScreen()) {
        (void)winId();  // Creates the window's handle.
        windowHandle()->setScreen(
            QGuiApplication::screenAt(m_pixels.toQt(QPoint(m_originX, m_originY))));
        setWindowState(windowState() | Qt::WindowFullScreen);
    }
    QWidget::setVisible(visible);
}

void CaptureROI::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!m_showMode) {
        // The window is not mapped yet, so the grab shows the desktop without it.
        grabDesktopImage();
    }
    ui::keepOffTaskbar(*this);
    ui::leaveOutOfCapture(*this);
}

void CaptureROI::mousePressEvent(QMouseEvent* event) {
    const QPoint at = m_pixels.distanceToPhysical(event->localPos());
    if (m_showMode) {
        m_lastX = at.x();
        m_lastY = at.y();
        if (event->button() == Qt::LeftButton && isOnFrame(at)) {
            // A fast pointer leaves the frame, whose mask follows one event later. The window
            // system goes on sending its events here until the button is released. A grab of our
            // own would begin and end later than that, and take the next click if the program is
            // slow.
            m_dragging = true;
        }
        return;
    }
    m_cleared = false;
    if (m_selected || event->button() != Qt::LeftButton) {
        return;
    }
    m_left = at.x();
    m_top = at.y();
    m_drawing = true;
}

void CaptureROI::mouseMoveEvent(QMouseEvent* event) {
    const QPoint at = m_pixels.distanceToPhysical(event->localPos());
    if (m_showMode) {
        moveWhileShowing(*event, at);
    } else {
        moveWhileSelecting(*event, at);
    }
}

/// Compares overlay coordinates with desktop coordinates: on a screen whose origin is not 0,0 the
/// grab area is offset from the frame. Known and kept, except where it could not be held at all.
bool CaptureROI::isOnFrame(QPoint at) const {
    if (staysOnTop()) {
        return frameRect().adjusted(-1, -1, 1, 1).contains(at);
    }
    return at.x() >= m_left && at.x() <= m_right && at.y() >= m_top && at.y() <= m_bottom;
}

void CaptureROI::moveWhileShowing(const QMouseEvent& event, QPoint at) {
    if (!isOnFrame(at) && !m_dragging) {
        unsetCursor();
        return;
    }
    setCursor(Qt::SizeAllCursor);
    if ((event.buttons() & Qt::LeftButton) == 0) {
        return;
    }
    dragFrame({at.x() - m_lastX, at.y() - m_lastY});
}

/// Moves the frame, but not past the left and upper edge of the screen. The last position advances
/// with the frame only, so that the frame stays under the pointer when that comes back.
void CaptureROI::dragFrame(QPoint by) {
    const int dx = qMax(by.x(), qMin(0, m_originX - m_left));
    const int dy = qMax(by.y(), qMin(0, m_originY - m_top));
    m_left += dx;
    m_right += dx;
    m_top += dy;
    m_bottom += dy;
    m_lastX += dx;
    m_lastY += dy;
    m_moved = true;
    updateMask();
    update();
    emit signalDragROI(m_left, m_top, std::abs(m_right - m_left), std::abs(m_bottom - m_top));
}

void CaptureROI::moveWhileSelecting(const QMouseEvent& event, QPoint at) {
    unsetCursor();
    if (m_selected) {
        return;
    }
    showSize(at, QString("%1,%2").arg(at.x() - m_left).arg(at.y() - m_top));
    if ((event.buttons() & Qt::LeftButton) != 0) {
        m_right = at.x();
        m_bottom = at.y();
        m_workPixmap = m_basePixmap;
        update();
    }
}

void CaptureROI::showSize(QPoint at, const QString& size) {
    const QPoint pointer = m_pixels.toQt(QPoint(m_originX + at.x(), m_originY + at.y()));
    QToolTip::showText(pointer + kTipOffset, size);
}

void CaptureROI::mouseReleaseEvent(QMouseEvent* event) {
    if (m_showMode) {
        m_dragging = false;
        if (m_moved) {
            emit signalConfirmROI(m_left, m_top, std::abs(m_right - m_left),
                                  std::abs(m_bottom - m_top));
            m_moved = false;
        }
        return;
    }
    if (m_selected || event->button() != Qt::LeftButton) {
        return;
    }
    const QPoint at = m_pixels.distanceToPhysical(event->localPos());
    m_right = at.x();
    m_bottom = at.y();
    m_drawing = false;
    m_selected = true;
    update();
    showButtonBar();
}

void CaptureROI::showButtonBar() {
    const QPoint end = m_pixels.distanceToQt(QPoint(m_right, m_bottom));
    QRect bar(end + kBarOffset, kBarSize);
    // A selection that ends near the left or upper edge would put the buttons outside.
    bar.moveRight(qMin(bar.right(), rect().right()));
    bar.moveBottom(qMin(bar.bottom(), rect().bottom()));
    bar.moveTopLeft({qMax(bar.left(), 0), qMax(bar.top(), 0)});
    m_pButtonBar->setGeometry(bar);
    m_pButtonBar->show();
}

void CaptureROI::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Escape) {
        return;
    }
    clearSelection();
    restoreRegion();
    close();
    emit signalHideROI();
}
