#pragma once
// From the rectangles that were drawn to the pieces that are fetched.

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

/// Covers what lies of `drawn` inside `area`: `rects` comes out ascending, no two with a row in
/// common, each as wide as its rows need. Rects that are only a few rows apart are fetched
/// as one, so that their number stays small whatever was drawn. `drawn` is in the order of an X
/// region: by top edge, then by left edge.
void coverDamage(const std::vector<xcb_rectangle_t>& drawn, const Rect& area,
                 std::vector<Rect>& rects);

}  // namespace capture::x11
