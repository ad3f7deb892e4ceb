#pragma once
// Which quality the next frame gets.
//
// Every packet holds the whole frame, so what counts is the size of the packets, not how much of
// a frame changed. The quality is one number for the whole frame and changing it means coding
// everything again, so it changes for one of four reasons only:
//
// - A frame of which a quarter or more is new came out too large: at once, by as much as its size
//   suggests, but at most half or double the step.
// - Frames stayed well below the budget for a while: likewise, the other way. Each time that
// turns
//   out to have been too much the wait doubles, so that the quality does not swing.
// - The frame rests and its sender asks for better ones: in three or four calls to the best.
// - Something moves on a frame that was refined so: small changes (a caret, a clock) keep the
//   refined quality as long as there is credit. Each call earns one frame's budget, each new
//   packet costs its size, and at most 16 budgets are saved up, which a rest does. Once they are
//   spent, or when a quarter of the frame is new, the quality returns to what moving frames
//   had.

#include <cstddef>

namespace speedhq {

/// The even qualities that all receivers read alike.
inline constexpr int kBestQuality = 98;
inline constexpr int kWorstQuality = 38;

/// Bytes a full frame should have, near the published rates of the format's vendor: 147 Mbit/s
/// for 1920x1080 at 60 fps, 102 at 30, 278 for 3840x2160 at 60. In between and
/// beyond, by a power of the number of pixels; with the square root of the rate.
[[nodiscard]] double mainStreamBudget(int width, int height, double framesPerSecond);

/// Likewise for the preview stream: about 19 Mbit/s for 640x360.
[[nodiscard]] double previewBudget(int width, int height, double framesPerSecond);

class RateControl {
public:
    /// Bytes per frame. Cheap; to be called with every frame.
    void setBudget(double bytes) { m_budget = bytes; }

    /// For the next frame.
    [[nodiscard]] int quality() const { return m_quality; }

    /// A new packet of `bytes` was made, of which the share `encoded` (0 to 1) is new.
    void sent(std::size_t bytes, double encoded);

    /// The same packet was sent again.
    void repeated();

    /// The next quality for a resting frame, better than quality() but for when that is the best.
    [[nodiscard]] int refinedQuality() const;

    /// A resting frame was encoded at `quality`.
    void refined(int quality);

    /// A frame does not fit into a packet at quality(); false when there is none below. Below
    /// kWorstQuality it uses only values that both known readings of the quality byte agree on.
    [[nodiscard]] bool lowerToFit();

    /// A refinement to `quality` does not fit into a packet: not to be tried again before the
    /// frame changes.
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
    int m_movingQuality = 80;  ///< Without the refinement.
    int m_refused = 100;
    /// A frame's size falls with about this power of the quantiser's step: 0.5 on most desktops.
    double m_exponent = 0.5;
    double m_sizeBefore = 0;
    int m_stepBefore = 0;
    int m_below = 0;             ///< Frames in a row that stayed well below the budget.
    int m_wait = kShortestWait;  ///< How many such frames it takes to raise the quality.
    int m_sinceRaise = kLongestWait;
};

}  // namespace speedhq
