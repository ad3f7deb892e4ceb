#pragma once
// The built-in output's encoder: createPictureEncoder() makes one for this machine.

#include <cstddef>

#include "speedhq/frameencoder.h"
#include "speedhq/kernels.h"
#include "speedhq/preview.h"
#include "speedhq/rowpool.h"
#include "speedhq/stream.h"

namespace speedhq {

class Encoder : public PictureEncoder {
public:
    /// `threads` counts the caller's.
    explicit Encoder(int threads = defaultThreads(), const Kernels& kernels = bestKernels());

    void keep(const PictureView& picture, const support::ChangedRows& changed) override;
    [[nodiscard]] EncodedStreams encode(const PictureView& picture,
                                        const support::ChangedRows& changed,
                                        Streams wanted) override;
    [[nodiscard]] EncodedStreams encodeKept(Streams wanted) override;

private:
    RowPool m_pool;
    Stream m_full;
    Preview m_preview;
};

}  // namespace speedhq
