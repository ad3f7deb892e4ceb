#pragma once

#include <algorithm>
#include <cstdint>

#include "screens/screensdetector.h"

namespace session {

/// A region in physical desktop pixels.
struct Rectangle {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t w = 0;
    std::int32_t h = 0;

    bool operator==(const Rectangle& other) const {
        return x == other.x && y == other.y && w == other.w && h == other.h;
    }
    bool operator!=(const Rectangle& other) const { return !(*this == other); }
};

[[nodiscard]] inline Rectangle rectangleOf(const struScreenItem& screen) {
    return {screen.x, screen.y, screen.width, screen.height};
}

/// Whether the two have a pixel in common.
[[nodiscard]] inline bool overlap(const Rectangle& a, const Rectangle& b) {
    return a.w > 0 && a.h > 0 && b.w > 0 && b.h > 0 && a.x < b.x + b.w && b.x < a.x + a.w &&
           a.y < b.y + b.h && b.y < a.y + a.h;
}

/// Whether no pixel of `inner` is outside `outer`.
[[nodiscard]] inline bool contains(const Rectangle& outer, const Rectangle& inner) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.x + inner.w <= outer.x + outer.w &&
           inner.y + inner.h <= outer.y + outer.h;
}

/// The position of a range of `length`, moved into the screen if it begins outside.
[[nodiscard]] inline int moveInside(int position, int length, int screenBegin, int screenLength) {
    const int end = screenBegin + screenLength;
    return position >= end ? std::max(screenBegin, end - length) : std::max(screenBegin, position);
}

/// No region is narrower or lower.
constexpr int kLeastSide = 9;

}  // namespace session
