#include "capture/x11/damagecheck.h"

#include <algorithm>

namespace capture::x11 {
namespace {

constexpr std::chrono::milliseconds kInterval(1000);
constexpr std::chrono::milliseconds kSecondLook(100);

/// Rows from one sample to the next. Every window of that height is met at each look, and every row
/// within as many looks.
constexpr int kRowStep = 64;

}  // namespace

void DamageCheck::reset() {
    m_due = Clock::now() + kInterval;
    m_suspect.reset();
}

bool DamageCheck::findsMissingDamage(ScreenSession& session, const Rect& area,
                                     const std::uint8_t* pixels, std::size_t stride) {
    const auto now = Clock::now();
    if (now < m_due) {
        return false;
    }
    chooseRows(area);
    const bool secondLook = m_suspect.has_value();
    m_suspect = session.reader().firstDifference(m_rows, area, pixels, stride);
    m_due = now + (m_suspect && !secondLook ? kSecondLook : kInterval);
    // The server sends damage before the reply that shows it.
    session.poll();
    if (session.damage()->pending()) {
        m_suspect.reset();
    }
    return m_suspect && secondLook;
}

void DamageCheck::noteDamage(const std::vector<Rect>& rects) {
    const auto covers = [this](const Rect& rect) {
        return *m_suspect >= rect.y && *m_suspect < rect.y + rect.height;
    };
    if (m_suspect && std::any_of(rects.begin(), rects.end(), covers)) {
        m_suspect.reset();
    }
}

void DamageCheck::chooseRows(const Rect& area) {
    m_rows.clear();
    if (m_suspect) {
        m_rows.push_back({area.x, *m_suspect, area.width, 1});
        return;
    }
    const int step = std::clamp(area.height / 4, 1, kRowStep);
    for (int row = m_round++ % step; row < area.height; row += step) {
        m_rows.push_back({area.x, area.y + row, area.width, 1});
    }
}

}  // namespace capture::x11
