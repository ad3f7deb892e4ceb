#pragma once
// Rate control: chooses the quality of the next frame.
//
// Every packet holds the whole frame, so the rate depends on the size of the packets, not on how
// much of a frame changed. The quality applies to the whole frame, and changing it means encoding
// everything again. So it changes for one of four reasons only:
//
// - A frame of which a quarter or more is new is too large: the quality falls at once, by as much
//   as the size suggests, but the quantiser step at most doubles.
// - Frames stay well below the budget for a while: the quality rises, and the step at most halves.
//   Each time that turns out to be too much the wait doubles, so that the quality does not
//   oscillate.
// - The frame is still and the caller asks for refinement: three or four calls reach the best
//   quality.
// - Something changes on a refined frame: small changes (a caret, a clock) keep the refined quality
//   as long as there is credit. Each call earns the budget of one frame, each new packet costs its
//   size, and the credit is limited to 16 budgets; refinement fills it. Once it is spent, or when a
//   quarter of the frame is new, the quality returns to that of moving frames.

#include <cstddef>

namespace speedhq {

/// All receivers interpret even qualities in this range in the same way.
inline constexpr int kBestQuality = 98;
inline constexpr int kWorstQuality = 38;

/// The target size of a packet in bytes, near the published rates of the format's vendor:
/// 147 Mbit/s for 1920x1080 at 60 fps, 102 at 30, 278 for 3840x2160 at 60. Other sizes are
/// interpolated by a power of the number of pixels. The rate grows with the square root of the
/// frame rate.
[[nodiscard]] double mainStreamBudget(int width, int height, double framesPerSecond);

/// Likewise for the preview stream: about 19 Mbit/s for 640x360.
[[nodiscard]] double previewBudget(int width, int height, double framesPerSecond);

class RateControl {
public:
    /// Sets the target size of a packet in bytes. Cheap; called with every frame.
    void setBudget(double bytes) { m_budget = bytes; }

    /// The quality for the next frame.
    [[nodiscard]] int quality() const { return m_quality; }

    /// Call after encoding a new packet of `bytes`. `encoded` is the share of new macroblocks, 0
    /// to 1.
    void sent(std::size_t bytes, double encoded);

    /// Call when the same packet is sent again.
    void repeated();

    /// The next quality for a still frame: better than quality(), unless that is the best.
    [[nodiscard]] int refinedQuality() const;

    /// Call after encoding a still frame at `quality`.
    void refined(int quality);

    /// Lowers the quality when a frame does not fit into a packet. False when there is no lower
    /// one. Below kWorstQuality it uses only values that both known interpretations of the quality
    /// byte agree on.
    [[nodiscard]] bool lowerToFit();

    /// A refinement to `quality` does not fit into a packet. refinedQuality() does not suggest it
    /// again before the frame changes.
    void refusedAt(int quality) { m_refused = quality; }

private:
    static constexpr int kShortestWait = 15;
    static constexpr int kLongestWait = 960;

    void learn(double size);
    [[nodiscard]] double fittingStep(double excess) const;
    void lower(double excess);
    void considerRaising(double excess);

    double m_budget = 1;
    double m_credit = 0;
    int m_quality = 80;
    int m_movingQuality = 80;  ///< The quality without refinement.
    int m_refused = 100;
    /// The packet size is proportional to the quantiser step to the power of minus this: 0.5 on
    /// most desktops.
    double m_exponent = 0.5;
    double m_sizeBefore = 0;
    int m_stepBefore = 0;
    int m_below = 0;             ///< Consecutive frames well below the budget.
    int m_wait = kShortestWait;  ///< Such frames required before the quality rises.
    int m_sinceRaise = kLongestWait;
};

}  // namespace speedhq
