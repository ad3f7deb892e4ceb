#pragma once

#include <QRect>

namespace ui {

/// The position of a range of `length`, moved into the screen if it begins outside.
[[nodiscard]] int moveInside(int position, int length, int screenBegin, int screenLength);

/// Carries the region along when its screen moves or changes its mode. All rectangles are physical
/// desktop pixels.
class RegionFollower {
public:
    /// The region on the screen that was `before` and is `now`. The whole screen stays the whole
    /// screen. Any other region keeps its place on the screen, as far as the screen is large
    /// enough; a screen that gets its old mode back gets the region that it had then.
    [[nodiscard]] QRect follow(const QRect& region, const QRect& before, const QRect& now);

private:
    QRect m_chosen;  ///< The operator's choice, relative to the screen.
    QRect m_chosenScreen;
    QRect m_last;  ///< What follow() returned; another region is a new choice.
};

}  // namespace ui
