#include "capture/x11/dirtyrects.h"

#include <algorithm>

namespace capture::x11 {
namespace {

/// Fetching this many more rows costs about as much as one more request.
constexpr int kRowsPerRequest = 16;

void extend(Rect& rect, const Rect& by) {
    const int right = std::max(rect.x + rect.width, by.x + by.width);
    const int bottom = std::max(rect.y + rect.height, by.y + by.height);
    rect.x = std::min(rect.x, by.x);
    rect.width = right - rect.x;
    rect.height = bottom - rect.y;
}

}  // namespace

Rect intersect(const Rect& rect, const Rect& area) {
    const int left = std::max(rect.x, area.x);
    const int top = std::max(rect.y, area.y);
    const int right = std::min(rect.x + rect.width, area.x + area.width);
    const int bottom = std::min(rect.y + rect.height, area.y + area.height);
    return left < right && top < bottom ? Rect{left, top, right - left, bottom - top}
                                        : Rect{area.x, area.y, 0, 0};
}

void coverDamage(const std::vector<xcb_rectangle_t>& damage, const Rect& area,
                 std::vector<Rect>& rects) {
    rects.clear();
    for (const auto& rectangle : damage) {
        const Rect inside =
            intersect({rectangle.x, rectangle.y, rectangle.width, rectangle.height}, area);
        if (inside.width == 0 || inside.height == 0) {
            continue;
        }
        if (!rects.empty() && inside.y < rects.back().y + rects.back().height + kRowsPerRequest) {
            extend(rects.back(), inside);
        } else {
            rects.push_back(inside);
        }
    }
}

void widen(std::vector<Rect>& rects, const Rect& area) {
    for (Rect& rect : rects) {
        if (rect.width * 2 >= area.width) {
            rect.x = area.x;
            rect.width = area.width;
        }
    }
}

bool cover(const std::vector<Rect>& outer, const std::vector<Rect>& inner) {
    return std::all_of(inner.begin(), inner.end(), [&outer](const Rect& rect) {
        return std::any_of(outer.begin(), outer.end(), [&rect](const Rect& around) {
            return rect.x >= around.x && rect.x + rect.width <= around.x + around.width &&
                   rect.y >= around.y && rect.y + rect.height <= around.y + around.height;
        });
    });
}

void mergeRects(std::vector<Rect>& rects, const std::vector<Rect>& more) {
    rects.insert(rects.end(), more.begin(), more.end());
    std::sort(rects.begin(), rects.end(), [](const Rect& a, const Rect& b) { return a.y < b.y; });
    auto last = rects.begin();
    for (auto next = rects.begin(); next != rects.end(); ++next) {
        if (next == rects.begin()) {
            continue;
        }
        if (next->y < last->y + last->height) {
            extend(*last, *next);
        } else {
            *++last = *next;
        }
    }
    rects.erase(rects.empty() ? rects.end() : last + 1, rects.end());
}

}  // namespace capture::x11
