#include "speedhq/incrementalencoder.h"

#include <algorithm>
#include <utility>

namespace speedhq {

namespace {

/// With fewer macroblocks to process, waking other threads takes longer than the work itself.
constexpr int kWorthSharing = 512;

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
    noteDirtyParts(dirty);
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
        noteDirtyParts(dirty);
        return encodeRows(&frame);
    }
    // An unchanged frame keeps its packet, so compare before adopting the new quality.
    noteDirtyParts(dirty);
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
    noteDirtyParts({true, {}});
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

/// Sets the dirty part of each row, and lists the rows that have one or are stale.
void IncrementalEncoder::noteDirtyParts(const support::DirtyRows& dirty) {
    const ReferenceFrame::Part whole{0, m_reference.height(), 0, m_reference.columns()};
    for (RowState& state : m_states) {
        state.dirty = dirty.known && !state.unset ? ReferenceFrame::Part{} : whole;
    }
    if (dirty.known) {
        std::for_each(dirty.spans.begin(), dirty.spans.end(),
                      [this](const support::RowSpan& span) { noteSpan(span); });
    }
    listVisits();
}

/// A row that several spans touch gets a part that covers them all.
void IncrementalEncoder::noteSpan(const support::RowSpan& span) {
    const int first = std::max(span.first, 0);
    const int last = std::min(span.first + span.count, m_reference.height());
    const int left = std::max(span.left, 0) / 16;
    const int right = (std::min(span.right, m_reference.width()) + 15) / 16;
    if (left >= right) {
        return;
    }
    for (int row = first / 16; row * 16 < last; ++row) {
        ReferenceFrame::Part& part = m_states[static_cast<std::size_t>(row)].dirty;
        if (part.empty()) {
            part = {first, last, left, right};
        } else {
            part = {std::min(part.first, first), std::max(part.last, last),
                    std::min(part.left, left), std::max(part.right, right)};
        }
    }
}

void IncrementalEncoder::listVisits() {
    m_visits.clear();
    m_visitMacroblocks = 0;
    for (std::size_t row = 0; row < m_states.size(); ++row) {
        const RowState& state = m_states[row];
        if (state.stale || !state.dirty.empty()) {
            m_visits.push_back(static_cast<int>(row));
            m_visitMacroblocks +=
                state.stale ? m_reference.columns() : state.dirty.right - state.dirty.left;
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
    if (m_visitMacroblocks < kWorthSharing) {
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
    if (state.dirty.empty()) {
        return 0;
    }
    RowEncoder& encoder = m_rowEncoders[static_cast<std::size_t>(thread)];
    int changed = m_reference.updateRow(frame, row, state.dirty, encoder.changed());
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
        m_packet =
            assemblePacket(m_kernels, m_rows, m_reference.columns() * 16, m_reference.height(),
                           m_quantiser.quality, m_packets, m_maxSliceBytes);
    }
    return m_packet;
}

}  // namespace speedhq
