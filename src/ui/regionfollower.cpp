#include "ui/regionfollower.h"

#include <algorithm>

namespace ui {

int moveInside(int position, int length, int screenBegin, int screenLength) {
    const int end = screenBegin + screenLength;
    if (position >= end) {
        return std::max(screenBegin, end - length);
    }
    return std::max(screenBegin, position);
}

QRect RegionFollower::follow(const QRect& region, const QRect& before, const QRect& now) {
    if (region != m_last) {
        m_chosen = region.translated(-before.topLeft());
        m_chosenScreen = QRect(QPoint(), before.size());
    }
    if (m_chosen == m_chosenScreen) {
        m_last = now;
        return m_last;
    }
    const int x = moveInside(m_chosen.x(), m_chosen.width(), 0, now.width());
    const int y = moveInside(m_chosen.y(), m_chosen.height(), 0, now.height());
    m_last = QRect(now.x() + x, now.y() + y, std::min(m_chosen.width(), now.width() - x),
                   std::min(m_chosen.height(), now.height() - y));
    return m_last;
}

}  // namespace ui
