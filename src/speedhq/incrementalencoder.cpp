#include "speedhq/incrementalencoder.h"

#include <algorithm>
#include <utility>

namespace speedhq {

namespace {

/// With fewer macroblocks to process, waking other threads takes longer than the work itself.
constexpr std::size_t kWorthSharing = 512;

}  // namespace

IncrementalEncoder::IncrementalEncoder(WorkerPool& pool, const Kernels& kernels,
                                       std::size_t maxSliceBytes, double rounding)
    : m_pool(pool),
      m_kernels(kernels),
      m_maxSliceBytes(maxSliceBytes),
      m_rounding(rounding),
      m_reference(kernels),
      m_rowEncoders(static_cast<std::size_t>(pool.threads())) {}

void IncrementalEncoder::updateReference(const FrameView& frame, const support::DirtyRows& dirty) {
    adoptShape(frame);
    noteDirtyLines(dirty);
    forgetEncoded();
    runRows([&](int row, int thread) {
        RowState& state = m_states[static_cast<std::size_t>(row)];
        state.stale = updateRow(state, row, thread, frame) > 0 || state.stale;
    });
}

EncodedFramePtr IncrementalEncoder::encode(const FrameView& frame, const support::DirtyRows& dirty,
                                           int quality) {
    adoptShape(frame);
    if (quality == m_quantiser.quality || !upToDate()) {
        setQuality(quality);
        noteDirtyLines(dirty);
        return encodeRows(&frame);
    }
    // An unchanged frame keeps its packet, so compare before adopting the new quality.
    noteDirtyLines(dirty);
    forgetEncoded();
    runRows([&](int row, int thread) {
        RowState& state = m_states[static_cast<std::size_t>(row)];
        state.stale = updateRow(state, row, thread, frame) > 0;
    });
    return upToDate() ? m_packet : encodeReference(quality);
}

EncodedFramePtr IncrementalEncoder::encodeReference(int quality) {
    if (m_reference.empty()) {
        return nullptr;
    }
    setQuality(quality);
    noteDirtyLines({true, {}});
    return encodeRows(nullptr);
}

bool IncrementalEncoder::upToDate() const {
    return m_packet && std::none_of(m_states.begin(), m_states.end(),
                                    [](const RowState& state) { return state.stale; });
}

double IncrementalEncoder::encodedShare() const {
    double encoded = 0;
    for (const RowState& state : m_states) {
        encoded += state.encoded;
    }
    return m_states.empty() ? 0 : encoded / (m_reference.rows() * m_reference.columns());
}

void IncrementalEncoder::takeChangedMacroblockRows(std::vector<std::uint8_t>& each) {
    each.resize(m_states.size());
    for (std::size_t row = 0; row < m_states.size(); ++row) {
        if (std::exchange(m_states[row].changed, false)) {
            each[row] = 1;
        }
    }
}

void IncrementalEncoder::adoptShape(const FrameView& frame) {
    if (!m_reference.adoptShape(frame)) {
        return;
    }
    const auto columns = static_cast<std::size_t>(m_reference.columns());
    const auto rows = static_cast<std::size_t>(m_reference.rows());
    for (RowEncoder& encoder : m_rowEncoders) {
        encoder.prepare(columns);
    }
    m_packet = nullptr;
    m_rows.clear();
    for (std::size_t row = 0; row < rows; ++row) {
        m_rows.emplace_back(columns);
    }
    m_states.assign(rows, {});
    m_visits.reserve(rows);
}

void IncrementalEncoder::forgetEncoded() {
    for (RowState& state : m_states) {
        state.encoded = 0;
    }
}

/// Sets the dirty lines of each row, and lists the rows that have dirty lines or are stale.
void IncrementalEncoder::noteDirtyLines(const support::DirtyRows& dirty) {
    for (RowState& state : m_states) {
        state.first = 0;
        state.last = dirty.known ? 0 : m_reference.height();
    }
    for (const support::RowSpan& span : dirty.spans) {
        const int first = std::max(span.first, 0);
        const int last = std::min(span.first + span.count, m_reference.height());
        for (int row = first / 16; dirty.known && row * 16 < last; ++row) {
            RowState& state = m_states[static_cast<std::size_t>(row)];
            state.first = state.last == 0 ? first : state.first;
            state.last = last;
        }
    }
    m_visits.clear();
    for (std::size_t row = 0; row < m_states.size(); ++row) {
        const RowState& state = m_states[row];
        if (state.stale || state.first < state.last) {
            m_visits.push_back(static_cast<int>(row));
        }
    }
}

void IncrementalEncoder::setQuality(int quality) {
    if (quality == m_quantiser.quality) {
        return;
    }
    m_quantiser = makeQuantiser(quality, m_rounding);
    for (RowState& state : m_states) {
        state.stale = true;
    }
}

void IncrementalEncoder::runRows(const WorkerPool::Work& work) {
    if (m_visits.size() * static_cast<std::size_t>(m_reference.columns()) < kWorthSharing) {
        for (const int row : m_visits) {
            work(row, 0);
        }
        return;
    }
    m_pool.run(static_cast<int>(m_visits.size()), [&](int item, int thread) {
        work(m_visits[static_cast<std::size_t>(item)], thread);
    });
}

/// Returns the number of macroblocks that changed, which the thread's row encoder has flags of.
int IncrementalEncoder::updateRow(RowState& state, int row, int thread, const FrameView& frame) {
    if (state.unset) {
        state.first = 0;
        state.last = m_reference.height();
    }
    if (state.first >= state.last) {
        return 0;
    }
    RowEncoder& encoder = m_rowEncoders[static_cast<std::size_t>(thread)];
    int changed = m_reference.updateRow(frame, row, state.first, state.last, encoder.changed());
    if (std::exchange(state.unset, false)) {
        changed = m_reference.columns();
    }
    state.changed = state.changed || changed > 0;
    return changed;
}

void IncrementalEncoder::encodeRow(RowState& state, int row, int thread, const FrameView* frame) {
    const int changed = frame != nullptr ? updateRow(state, row, thread, *frame) : 0;
    RowEncoder& encoder = m_rowEncoders[static_cast<std::size_t>(thread)];
    EncodedRow& encoded = m_rows[static_cast<std::size_t>(row)];
    const RowSettings settings{m_kernels, m_quantiser, codeTables()};
    if (state.stale || changed == m_reference.columns()) {
        encoder.encode(settings, m_reference.row(row), encoded);
        state.encoded = m_reference.columns();
    } else if (changed > 0) {
        encoder.reencode(settings, m_reference.row(row), encoded);
        state.encoded = changed;
    }
    state.stale = false;
}

EncodedFramePtr IncrementalEncoder::encodeRows(const FrameView* frame) {
    forgetEncoded();
    runRows([&](int row, int thread) {
        encodeRow(m_states[static_cast<std::size_t>(row)], row, thread, frame);
    });
    const bool anyEncoded = std::any_of(m_states.begin(), m_states.end(),
                                        [](const RowState& state) { return state.encoded > 0; });
    if (anyEncoded || !m_packet) {
        m_packet = assemblePacket(m_rows, m_reference.columns() * 16, m_reference.height(),
                                  m_quantiser.quality, m_packets, m_maxSliceBytes);
    }
    return m_packet;
}

}  // namespace speedhq
