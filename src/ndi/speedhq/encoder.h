#pragma once
// The built-in output's encoder: createPictureEncoder() makes one for this machine.

#include <cstddef>

#include "ndi/output/pictureencoder.h"
#include "ndi/speedhq/kernels.h"
#include "ndi/speedhq/preview.h"
#include "ndi/speedhq/rowpool.h"
#include "ndi/speedhq/stream.h"

namespace speedhq {

class Encoder : public ndi::PictureEncoder {
public:
    /// `threads` counts the caller's.
    explicit Encoder(int threads = defaultThreads(), const Kernels& kernels = bestKernels());

    void keep(const ndi::PictureView& picture, const support::ChangedRows& changed) override;
    [[nodiscard]] ndi::EncodedStreams encode(const ndi::PictureView& picture,
                                             const support::ChangedRows& changed,
                                             ndi::Streams wanted) override;
    [[nodiscard]] ndi::EncodedStreams encodeKept(ndi::Streams wanted) override;

private:
    RowPool m_pool;
    Stream m_full;
    Preview m_preview;
};

}  // namespace speedhq
