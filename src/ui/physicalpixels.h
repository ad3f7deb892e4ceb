#pragma once
// The one place where physical desktop pixels and Qt's own pixels are turned into each other.
//
// Screens, regions and senders count physical pixels. Qt counts in larger ones when a scale factor
// is set (QT_SCALE_FACTOR and the like). On either side a screen begins at the same position; from
// there on Qt's distances are the physical ones divided by the screen's factor.

#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QSize>

namespace ui {

class PhysicalPixels {
public:
    PhysicalPixels() = default;

    /// For a screen that begins at `origin`; `factor` physical pixels to one of Qt's.
    PhysicalPixels(QPoint origin, qreal factor) : m_origin(origin), m_factor(factor) {}

    /// For the screen that shows the physical desktop position `at`, or the nearest one.
    static PhysicalPixels at(QPoint at);

    [[nodiscard]] qreal factor() const { return m_factor; }

    /// A physical desktop position in Qt's desktop coordinates.
    [[nodiscard]] QPoint toQt(QPoint physical) const;

    /// The smallest size in Qt's pixels that covers `physical`.
    [[nodiscard]] QSize toQt(QSize physical) const;

    /// A distance from the screen's, or a widget's, corner.
    [[nodiscard]] QPoint distanceToQt(QPoint physical) const;
    [[nodiscard]] QPoint distanceToPhysical(QPointF qt) const;

    /// The smallest rectangle in Qt's pixels that covers `physical`, both counted from a corner.
    [[nodiscard]] QRect coveringRect(QRect physical) const;

private:
    QPoint m_origin;
    qreal m_factor = 1;
};

}  // namespace ui
