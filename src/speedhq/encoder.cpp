#include "speedhq/encoder.h"

namespace speedhq {

Encoder::Encoder(int threads, const Kernels& kernels)
    : m_pool(threads), m_main(m_pool, kernels, mainStreamBudget), m_preview(m_pool, kernels) {}

void Encoder::updateReference(const FrameView& frame, const support::DirtyRows& dirty) {
    m_main.updateReference(frame, dirty);
}

EncodedStreams Encoder::encode(const FrameView& frame, const support::DirtyRows& dirty,
                               Streams wanted) {
    EncodedStreams streams;
    if (wanted.main) {
        streams.main = m_main.encode(frame, dirty);
    } else {
        m_main.updateReference(frame, dirty);
    }
    if (wanted.preview) {
        streams.preview = m_preview.encode(m_main.encoder(), frame);
    }
    return streams;
}

EncodedStreams Encoder::encodeReference(Streams wanted) {
    EncodedStreams streams;
    if (wanted.main) {
        streams.main = m_main.encodeReference();
    }
    if (wanted.preview) {
        streams.preview = m_preview.encodeReference(m_main.encoder());
    }
    return streams;
}

std::unique_ptr<FrameEncoder> createFrameEncoder() {
    return std::make_unique<Encoder>();
}

}  // namespace speedhq
