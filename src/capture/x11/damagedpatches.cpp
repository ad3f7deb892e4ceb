#include "capture/x11/damagedpatches.h"

#include <algorithm>

namespace capture::x11 {
namespace {

/// Fetching this many rows more costs about what another request does.
constexpr int kRowsWorthARequest = 16;

Patch intersect(const xcb_rectangle_t& drawn, const Patch& area) {
    const int left = std::max<int>(drawn.x, area.x);
    const int top = std::max<int>(drawn.y, area.y);
    const int right = std::min(drawn.x + drawn.width, area.x + area.width);
    const int bottom = std::min(drawn.y + drawn.height, area.y + area.height);
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

void extend(Patch& patch, const Patch& by) {
    const int right = std::max(patch.x + patch.width, by.x + by.width);
    const int bottom = std::max(patch.y + patch.height, by.y + by.height);
    patch.x = std::min(patch.x, by.x);
    patch.width = right - patch.x;
    patch.height = bottom - patch.y;
}

}  // namespace

void coverDamage(const std::vector<xcb_rectangle_t>& drawn, const Patch& area,
                 std::vector<Patch>& patches) {
    patches.clear();
    for (const auto& rectangle : drawn) {
        const Patch inside = intersect(rectangle, area);
        if (inside.width == 0 || inside.height == 0) {
            continue;
        }
        if (!patches.empty() &&
            inside.y < patches.back().y + patches.back().height + kRowsWorthARequest) {
            extend(patches.back(), inside);
        } else {
            patches.push_back(inside);
        }
    }
}

}  // namespace capture::x11
