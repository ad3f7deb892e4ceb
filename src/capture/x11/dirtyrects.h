#pragma once
// Turns damaged rectangles into the rectangles that are fetched.

#include <xcb/xcb.h>

#include <vector>

namespace capture::x11 {

/// A rectangle of the root window in pixels.
struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const Rect& other) const {
        return x == other.x && y == other.y && width == other.width && height == other.height;
    }
};

/// What two rectangles have in common. Empty where width or height is 0; its place is one of `area`
/// then.
[[nodiscard]] Rect intersect(const Rect& rect, const Rect& area);

/// Covers the part of `damage` that lies inside `area` with `rects`: in ascending order, no two
/// with a row in common, each as wide as its damaged rows. Rectangles that are only a few rows
/// apart become one, which bounds the number of requests. `damage` is in the order of an X region:
/// by top edge, then by left edge.
void coverDamage(const std::vector<xcb_rectangle_t>& damage, const Rect& area,
                 std::vector<Rect>& rects);

/// Gives rectangles that have at least half of the area's width the full width: the server's own
/// copy of the full rows costs less than a second copy here.
void widen(std::vector<Rect>& rects, const Rect& area);

/// Whether each of `inner` lies inside one of `outer`.
[[nodiscard]] bool cover(const std::vector<Rect>& outer, const std::vector<Rect>& inner);

/// Adds `more` to `rects`, both as coverDamage() makes them; so is the result.
void mergeRects(std::vector<Rect>& rects, const std::vector<Rect>& more);

}  // namespace capture::x11
