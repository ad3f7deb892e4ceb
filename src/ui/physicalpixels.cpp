#include "ui/physicalpixels.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtMath>

namespace ui {

namespace {

QRect physicalGeometry(const QScreen& screen) {
    // Qt divides the size of a screen by the factor and rounds it; it keeps the position.
    return {screen.geometry().topLeft(),
            (QSizeF(screen.geometry().size()) * screen.devicePixelRatio()).toSize()};
}

int distanceTo(const QRect& area, QPoint point) {
    const QPoint inside(qBound(area.left(), point.x(), area.right()),
                        qBound(area.top(), point.y(), area.bottom()));
    return (inside - point).manhattanLength();
}

}  // namespace

PhysicalPixels PhysicalPixels::at(QPoint at) {
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
    return m_origin + distanceToQt(physical - m_origin);
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
