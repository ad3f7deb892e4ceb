#pragma once
// Conversion between physical desktop pixels and Qt's device-independent pixels.
//
// Screens, regions and senders use physical pixels. With a scale factor (QT_SCALE_FACTOR and the
// like) one of Qt's pixels covers several physical ones. The position of a screen's top left corner
// is the same in both; distances from there are divided by the screen's factor in Qt's units.

#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QSize>
#include <QVector>

namespace ui {

class PhysicalPixels {
public:
    PhysicalPixels() = default;

    /// For a screen whose top left corner is at `origin`, with `factor` physical pixels per Qt
    /// pixel.
    PhysicalPixels(QPoint origin, qreal factor)
        : m_origin(origin), m_qtOrigin(origin), m_factor(factor) {}

    /// For a screen that both sides know by its rectangle.
    static PhysicalPixels between(const QRect& physical, const QRect& qt);

    /// The desktop's screens where Qt can't tell their physical size: in a Wayland session it sees
    /// the compositor's logical pixels. at() goes by them from then on; none: by Qt's own screens.
    static void setScreens(const QVector<QRect>& physical);

    /// For the screen that contains the physical desktop position `at`, else the nearest screen.
    static PhysicalPixels at(QPoint at);

    [[nodiscard]] qreal factor() const { return m_factor; }

    /// Converts a physical desktop position to Qt's desktop coordinates.
    [[nodiscard]] QPoint toQt(QPoint physical) const;

    /// The smallest size in Qt pixels that covers `physical`.
    [[nodiscard]] QSize toQt(QSize physical) const;

    /// Converts a distance from the top left corner of a screen or widget.
    [[nodiscard]] QPoint distanceToQt(QPoint physical) const;
    [[nodiscard]] QPoint distanceToPhysical(QPointF qt) const;

    /// The smallest rectangle in Qt pixels that covers `physical`; both are relative to the same
    /// corner.
    [[nodiscard]] QRect coveringRect(QRect physical) const;

private:
    QPoint m_origin;
    QPoint m_qtOrigin;
    qreal m_factor = 1;
};

}  // namespace ui
