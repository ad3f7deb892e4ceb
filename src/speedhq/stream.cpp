#include "speedhq/stream.h"

#include <utility>

namespace speedhq {

void Stream::updateReference(const FrameView& frame, const support::DirtyRows& dirty) {
    setBudget(frame);
    m_encoder.updateReference(frame, dirty);
}

EncodedFramePtr Stream::encode(const FrameView& frame, const support::DirtyRows& dirty) {
    setBudget(frame);
    EncodedFramePtr packet = account(m_encoder.encode(frame, dirty, m_rate.quality()));
    if (m_encoder.encodedShare() > 0) {
        m_stillFrames = 0;
    } else if (++m_stillFrames % kStillFramesBeforeRefining == 0) {
        packet = encodeReference();
    }
    return packet;
}

EncodedFramePtr Stream::encodeReference() {
    if (m_encoder.reference().empty()) {
        return nullptr;
    }
    if (!m_encoder.upToDate()) {
        return account(m_encoder.encodeReference(m_rate.quality()));
    }
    const int better = m_rate.refinedQuality();
    EncodedFramePtr packet = m_encoder.encodeReference(better);
    if (!packet) {
        m_rate.refusedAt(better);
        return m_encoder.encodeReference(m_rate.quality());
    }
    m_rate.refined(better);
    m_rate.repeated();
    return packet;
}

void Stream::setBudget(const FrameView& frame) {
    if (frame.width == m_budgetFor.width && frame.height == m_budgetFor.height &&
        frame.rateNumerator == m_budgetFor.rateNumerator &&
        frame.rateDenominator == m_budgetFor.rateDenominator) {
        return;  // Logarithms are a noticeable part of a small change's cost.
    }
    m_budgetFor = frame;
    const double rate = frame.rateDenominator > 0
                            ? static_cast<double>(frame.rateNumerator) / frame.rateDenominator
                            : 0.0;
    m_rate.setBudget(m_budget(frame.width, frame.height, rate));
}

/// Reports the encoder's latest packet to the rate control. Lowers the quality until it fits.
EncodedFramePtr Stream::account(EncodedFramePtr packet) {
    while (!packet && m_rate.lowerToFit()) {
        packet = m_encoder.encodeReference(m_rate.quality());
    }
    if (packet && m_encoder.encodedShare() > 0) {
        m_rate.sent(packet->size, m_encoder.encodedShare());
    } else {
        m_rate.repeated();
    }
    return packet;
}

}  // namespace speedhq
