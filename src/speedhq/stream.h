#pragma once
// One stream of packets: a coder and the control of its rate.

#include "speedhq/picturecoder.h"
#include "speedhq/ratecontrol.h"

namespace speedhq {

/// One caller at a time.
class Stream {
public:
    using Budget = double (*)(int width, int height, double picturesPerSecond);

    Stream(RowPool& pool, const Kernels& kernels, Budget budget,
           std::size_t maxSliceBytes = kMaxSliceBytes)
        : m_coder(pool, kernels, maxSliceBytes), m_budget(budget) {}

    void keep(const PictureView& picture, const support::ChangedRows& changed);

    /// A picture that comes again and again unchanged, from a sender that does not look, gets
    /// better as one that rests. Null only when the picture fits into no packet at any quality.
    [[nodiscard]] EncodedPicturePtr encode(const PictureView& picture,
                                           const support::ChangedRows& changed);

    /// The packet of the kept picture: first as it would have been sent, then, with each call,
    /// better; in the end the same packet every time. Null when nothing is kept.
    [[nodiscard]] EncodedPicturePtr encodeKept();

    [[nodiscard]] PictureCoder& coder() { return m_coder; }

private:
    static constexpr int kRestBeforeRefining = 6;  ///< Unchanged pictures before each step.

    void setBudget(const PictureView& picture);
    [[nodiscard]] EncodedPicturePtr account(EncodedPicturePtr packet);

    PictureCoder m_coder;
    const Budget m_budget;
    RateControl m_rate;
    int m_resting = 0;  ///< Unchanged pictures in a row.
};

}  // namespace speedhq
