#pragma once
// The frame encoder of the built-in output. createFrameEncoder() makes one for this machine.

#include <cstddef>

#include "speedhq/frameencoder.h"
#include "speedhq/kernels.h"
#include "speedhq/preview.h"
#include "speedhq/stream.h"
#include "speedhq/workerpool.h"

namespace speedhq {

class Encoder : public FrameEncoder {
public:
    /// `threads` includes the caller's.
    explicit Encoder(int threads = defaultThreads(), const Kernels& kernels = bestKernels());

    void updateReference(const FrameView& frame, const support::DirtyRows& dirty) override;
    [[nodiscard]] EncodedStreams encode(const FrameView& frame, const support::DirtyRows& dirty,
                                        Streams wanted) override;
    [[nodiscard]] EncodedStreams encodeReference(Streams wanted) override;

private:
    WorkerPool m_pool;
    Stream m_main;
    Preview m_preview;
};

}  // namespace speedhq
