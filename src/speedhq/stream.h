#pragma once
// One stream of packets: an encoder and its rate control.

#include "speedhq/incrementalencoder.h"
#include "speedhq/ratecontrol.h"

namespace speedhq {

/// One caller at a time.
class Stream {
public:
    using Budget = double (*)(int width, int height, double framesPerSecond);

    Stream(WorkerPool& pool, const Kernels& kernels, Budget budget,
           std::size_t maxSliceBytes = kMaxSliceBytes)
        : m_encoder(pool, kernels, maxSliceBytes), m_budget(budget) {}

    void updateReference(const FrameView& frame, const support::DirtyRows& dirty);

    /// The packet of the frame. Frames that stay unchanged are refined here too, for a caller that
    /// sends every frame without checking for changes. Null only when the frame fits into no packet
    /// at any quality.
    [[nodiscard]] EncodedFramePtr encode(const FrameView& frame, const support::DirtyRows& dirty);

    /// The packet of the reference frame: first at the current quality, then better with each call,
    /// finally the same packet every time. Null when there is no reference frame.
    [[nodiscard]] EncodedFramePtr encodeReference();

    [[nodiscard]] IncrementalEncoder& encoder() { return m_encoder; }

private:
    static constexpr int kStillFramesBeforeRefining = 6;  ///< Before each step.

    void setBudget(const FrameView& frame);
    [[nodiscard]] EncodedFramePtr account(EncodedFramePtr packet);

    IncrementalEncoder m_encoder;
    const Budget m_budget;
    FrameView m_budgetFor;  ///< The frame whose budget is set.
    RateControl m_rate;
    int m_stillFrames = 0;  ///< Consecutive unchanged frames.
};

}  // namespace speedhq
