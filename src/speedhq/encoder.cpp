#include "speedhq/encoder.h"

namespace speedhq {

Encoder::Encoder(int threads, const Kernels& kernels)
    : m_pool(threads), m_full(m_pool, kernels, fullPictureBudget), m_preview(m_pool, kernels) {}

void Encoder::keep(const PictureView& picture, const support::ChangedRows& changed) {
    m_full.keep(picture, changed);
}

EncodedStreams Encoder::encode(const PictureView& picture, const support::ChangedRows& changed,
                               Streams wanted) {
    EncodedStreams streams;
    if (wanted.full) {
        streams.full = m_full.encode(picture, changed);
    } else {
        m_full.keep(picture, changed);
    }
    if (wanted.preview) {
        streams.preview = m_preview.encode(m_full.coder(), picture);
    }
    return streams;
}

EncodedStreams Encoder::encodeKept(Streams wanted) {
    EncodedStreams streams;
    if (wanted.full) {
        streams.full = m_full.encodeKept();
    }
    if (wanted.preview) {
        streams.preview = m_preview.encodeKept(m_full.coder());
    }
    return streams;
}

std::unique_ptr<PictureEncoder> createPictureEncoder() {
    return std::make_unique<Encoder>();
}

}  // namespace speedhq
