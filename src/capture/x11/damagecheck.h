#pragma once
// Finds screens whose damage reports are incomplete.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "capture/x11/dirtyrects.h"
#include "capture/x11/screensession.h"

namespace capture::x11 {

/// Some drivers report no damage for direct rendering; a capture that relies on damage would then
/// show old rows for ever. This check fetches a few rows of the screen once a second and compares
/// them with the captured ones. Damage may also come late: a row counts only if it differs at two
/// looks a tenth of a second apart and no damage covers it in between.
class DamageCheck {
public:
    /// Starts anew.
    void reset();

    /// To be called while no damage is pending. `pixels` hold `area` as it was captured. True: the
    /// screen has changed without damage. Mostly costs nothing; about once a second a round trip.
    [[nodiscard]] bool findsMissingDamage(ScreenSession& session, const Rect& area,
                                          const std::uint8_t* pixels, std::size_t stride);

    /// The rectangles that damage has led to.
    void noteDamage(const std::vector<Rect>& rects);

private:
    using Clock = std::chrono::steady_clock;

    void chooseRows(const Rect& area);

    Clock::time_point m_due = Clock::now();
    std::optional<int> m_suspect;  ///< The row that differed at the last look, in root coordinates.
    int m_round = 0;
    std::vector<Rect> m_rows;
};

}  // namespace capture::x11
