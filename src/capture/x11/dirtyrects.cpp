#include "capture/x11/dirtyrects.h"

#include <algorithm>

namespace capture::x11 {
namespace {

/// Fetching this many rows more costs about what another request does.
constexpr int kRowsWorthARequest = 16;

Rect intersect(const xcb_rectangle_t& drawn, const Rect& area) {
    const int left = std::max<int>(drawn.x, area.x);
    const int top = std::max<int>(drawn.y, area.y);
    const int right = std::min(drawn.x + drawn.width, area.x + area.width);
    const int bottom = std::min(drawn.y + drawn.height, area.y + area.height);
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

void extend(Rect& rect, const Rect& by) {
    const int right = std::max(rect.x + rect.width, by.x + by.width);
    const int bottom = std::max(rect.y + rect.height, by.y + by.height);
    rect.x = std::min(rect.x, by.x);
    rect.width = right - rect.x;
    rect.height = bottom - rect.y;
}

}  // namespace

void coverDamage(const std::vector<xcb_rectangle_t>& drawn, const Rect& area,
                 std::vector<Rect>& rects) {
    rects.clear();
    for (const auto& rectangle : drawn) {
        const Rect inside = intersect(rectangle, area);
        if (inside.width == 0 || inside.height == 0) {
            continue;
        }
        if (!rects.empty() &&
            inside.y < rects.back().y + rects.back().height + kRowsWorthARequest) {
            extend(rects.back(), inside);
        } else {
            rects.push_back(inside);
        }
    }
}

}  // namespace capture::x11
