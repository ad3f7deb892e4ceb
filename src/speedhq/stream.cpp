#include "speedhq/stream.h"

#include <utility>

namespace speedhq {

void Stream::keep(const PictureView& picture, const support::ChangedRows& changed) {
    setBudget(picture);
    m_coder.keep(picture, changed);
}

EncodedPicturePtr Stream::encode(const PictureView& picture, const support::ChangedRows& changed) {
    setBudget(picture);
    EncodedPicturePtr packet = account(m_coder.encode(picture, changed, m_rate.quality()));
    if (m_coder.codedShare() > 0) {
        m_resting = 0;
    } else if (++m_resting % kRestBeforeRefining == 0) {
        packet = encodeKept();
    }
    return packet;
}

EncodedPicturePtr Stream::encodeKept() {
    if (m_coder.kept().empty()) {
        return nullptr;
    }
    if (!m_coder.upToDate()) {
        return account(m_coder.encodeKept(m_rate.quality()));
    }
    const int better = m_rate.refinedQuality();
    EncodedPicturePtr packet = m_coder.encodeKept(better);
    if (!packet) {
        m_rate.refusedAt(better);
        return m_coder.encodeKept(m_rate.quality());
    }
    m_rate.refined(better);
    m_rate.repeated();
    return packet;
}

void Stream::setBudget(const PictureView& picture) {
    const double rate = picture.rateDenominator > 0
                            ? static_cast<double>(picture.rateNumerator) / picture.rateDenominator
                            : 0.0;
    m_rate.setBudget(m_budget(picture.width, picture.height, rate));
}

/// Tells the rate control about the coder's latest packet, which is lowered until it fits.
EncodedPicturePtr Stream::account(EncodedPicturePtr packet) {
    while (!packet && m_rate.lowerToFit()) {
        packet = m_coder.encodeKept(m_rate.quality());
    }
    if (packet && m_coder.codedShare() > 0) {
        m_rate.sent(packet->size, m_coder.codedShare());
    } else {
        m_rate.repeated();
    }
    return packet;
}

}  // namespace speedhq
