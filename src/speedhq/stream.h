#pragma once
// One stream of packets: a encoder and the control of its rate.

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

    /// A frame that comes again and again unchanged, from a sender that does not look, gets
    /// better as one that rests. Null only when the frame fits into no packet at any quality.
    [[nodiscard]] EncodedFramePtr encode(const FrameView& frame, const support::DirtyRows& dirty);

    /// The packet of the kept frame: first as it would have been sent, then, with each call,
    /// better; in the end the same packet every time. Null when nothing is kept.
    [[nodiscard]] EncodedFramePtr encodeReference();

    [[nodiscard]] IncrementalEncoder& encoder() { return m_encoder; }

private:
    static constexpr int kRestBeforeRefining = 6;  ///< Unchanged frames before each step.

    void setBudget(const FrameView& frame);
    [[nodiscard]] EncodedFramePtr account(EncodedFramePtr packet);

    IncrementalEncoder m_encoder;
    const Budget m_budget;
    RateControl m_rate;
    int m_resting = 0;  ///< Unchanged frames in a row.
};

}  // namespace speedhq
