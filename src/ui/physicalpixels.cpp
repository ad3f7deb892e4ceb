#include "ui/physicalpixels.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtMath>
#include <algorithm>

namespace ui {

namespace {

QRect physicalGeometry(const QScreen& screen) {
    // Qt divides the size of a screen by the factor and rounds it; it keeps the position.
    return {screen.geometry().topLeft(),
            (QSizeF(screen.geometry().size()) * screen.devicePixelRatio()).toSize()};
}

QVector<QRect>& givenScreens() {
    static QVector<QRect> screens;
    return screens;
}

QVector<QRect> qtScreens() {
    QVector<QRect> screens;
    for (const QScreen* screen : QGuiApplication::screens()) {
        screens.append(screen->geometry());
    }
    return screens;
}

/// Screens given in different units may overlap; their corners are apart. `screens` has one.
QRect nearestByCorner(const QVector<QRect>& screens, QPoint at) {
    const auto nearer = [at](const QRect& a, const QRect& b) {
        return (a.topLeft() - at).manhattanLength() < (b.topLeft() - at).manhattanLength();
    };
    return *std::min_element(screens.begin(), screens.end(), nearer);
}

int distanceTo(const QRect& area, QPoint point) {
    const QPoint inside(qBound(area.left(), point.x(), area.right()),
                        qBound(area.top(), point.y(), area.bottom()));
    return (inside - point).manhattanLength();
}

}  // namespace

PhysicalPixels PhysicalPixels::between(const QRect& physical, const QRect& qt) {
    PhysicalPixels pixels(physical.topLeft(), static_cast<qreal>(physical.width()) / qt.width());
    pixels.m_qtOrigin = qt.topLeft();
    return pixels;
}

void PhysicalPixels::setScreens(const QVector<QRect>& physical) {
    givenScreens() = physical;
}

PhysicalPixels PhysicalPixels::at(QPoint at) {
    if (!givenScreens().isEmpty()) {
        const QRect screen = nearestByCorner(givenScreens(), at);
        return between(screen, nearestByCorner(qtScreens(), screen.topLeft()));
    }
    const QScreen* nearest = nullptr;
    int shortest = 0;
    for (const QScreen* screen : QGuiApplication::screens()) {
        const int length = distanceTo(physicalGeometry(*screen), at);
        if (nearest == nullptr || length < shortest) {
            nearest = screen;
            shortest = length;
        }
    }
    return nearest == nullptr
               ? PhysicalPixels()
               : PhysicalPixels(nearest->geometry().topLeft(), nearest->devicePixelRatio());
}

QPoint PhysicalPixels::toQt(QPoint physical) const {
    return m_qtOrigin + distanceToQt(physical - m_origin);
}

QSize PhysicalPixels::toQt(QSize physical) const {
    return {qCeil(physical.width() / m_factor), qCeil(physical.height() / m_factor)};
}

QPoint PhysicalPixels::distanceToQt(QPoint physical) const {
    return (QPointF(physical) / m_factor).toPoint();
}

QPoint PhysicalPixels::distanceToPhysical(QPointF qt) const {
    return (qt * m_factor).toPoint();
}

QRect PhysicalPixels::coveringRect(QRect physical) const {
    const QPoint first(qFloor(physical.left() / m_factor), qFloor(physical.top() / m_factor));
    const QPoint end(qCeil((physical.left() + physical.width()) / m_factor),
                     qCeil((physical.top() + physical.height()) / m_factor));
    return {first, QSize(end.x() - first.x(), end.y() - first.y())};
}

}  // namespace ui
