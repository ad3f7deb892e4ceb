#include "speedhq/picturecoder.h"

#include <algorithm>
#include <utility>

namespace speedhq {

namespace {

/// Below so many macroblocks to look at, waking other threads takes longer than the work.
constexpr std::size_t kWorthSharing = 512;

}  // namespace

PictureCoder::PictureCoder(RowPool& pool, const Kernels& kernels, std::size_t maxSliceBytes,
                           double rounding)
    : m_pool(pool),
      m_kernels(kernels),
      m_maxSliceBytes(maxSliceBytes),
      m_rounding(rounding),
      m_kept(kernels),
      m_coders(static_cast<std::size_t>(pool.threads())) {}

void PictureCoder::keep(const PictureView& picture, const support::ChangedRows& changed) {
    adoptShape(picture);
    noteChangedLines(changed);
    forgetCoded();
    runRows([&](int row, int) {
        RowState& state = m_states[static_cast<std::size_t>(row)];
        if (state.untaken || state.first < state.last) {
            takeRow(state, row, picture);
        }
    });
}

EncodedPicturePtr PictureCoder::encode(const PictureView& picture,
                                       const support::ChangedRows& changed, int quality) {
    adoptShape(picture);
    if (quality == m_quantiser.quality || !upToDate()) {
        setQuality(quality);
        noteChangedLines(changed);
        return codeRows(&picture);
    }
    // A picture that did not change does not take on the new quality, so that has to be known
    // first.
    noteChangedLines(changed);
    forgetCoded();
    runRows([&](int row, int thread) {
        RowCoder& coder = m_coders[static_cast<std::size_t>(thread)];
        RowState& state = m_states[static_cast<std::size_t>(row)];
        state.stale = updateRow(state, row, coder, picture) > 0;
        coder.clearFlags();
    });
    return upToDate() ? m_packet : encodeKept(quality);
}

EncodedPicturePtr PictureCoder::encodeKept(int quality) {
    if (m_kept.empty()) {
        return nullptr;
    }
    setQuality(quality);
    noteChangedLines({true, {}});
    return codeRows(nullptr);
}

bool PictureCoder::upToDate() const {
    return m_packet && std::none_of(m_states.begin(), m_states.end(),
                                    [](const RowState& state) { return state.stale; });
}

double PictureCoder::codedShare() const {
    double coded = 0;
    for (const RowState& state : m_states) {
        coded += state.coded;
    }
    return m_states.empty() ? 0 : coded / (m_kept.rows() * m_kept.columns());
}

void PictureCoder::takeChangedRows(std::vector<std::uint8_t>& each) {
    each.resize(m_states.size());
    for (std::size_t row = 0; row < m_states.size(); ++row) {
        if (std::exchange(m_states[row].changed, false)) {
            each[row] = 1;
        }
    }
}

void PictureCoder::adoptShape(const PictureView& picture) {
    if (!m_kept.shapeLike(picture)) {
        return;
    }
    const auto columns = static_cast<std::size_t>(m_kept.columns());
    const auto rows = static_cast<std::size_t>(m_kept.rows());
    for (RowCoder& coder : m_coders) {
        coder.prepare(columns);
    }
    m_packet = nullptr;
    m_rows.clear();
    for (std::size_t row = 0; row < rows; ++row) {
        m_rows.emplace_back(columns);
    }
    m_states.assign(rows, {});
    m_visits.reserve(rows);
}

void PictureCoder::forgetCoded() {
    for (RowState& state : m_states) {
        state.coded = 0;
    }
}

/// Fills in the lines to look at, and lists the rows that have such lines or are stale.
void PictureCoder::noteChangedLines(const support::ChangedRows& changed) {
    for (RowState& state : m_states) {
        state.first = 0;
        state.last = changed.known ? 0 : m_kept.height();
    }
    for (const support::RowSpan& span : changed.spans) {
        const int first = std::max(span.first, 0);
        const int last = std::min(span.first + span.count, m_kept.height());
        for (int row = first / 16; changed.known && row * 16 < last; ++row) {
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

void PictureCoder::setQuality(int quality) {
    if (quality == m_quantiser.quality) {
        return;
    }
    m_quantiser = makeQuantiser(quality, m_rounding);
    for (RowState& state : m_states) {
        state.stale = true;
    }
}

void PictureCoder::runRows(const RowPool::Work& work) {
    if (m_visits.size() * static_cast<std::size_t>(m_kept.columns()) < kWorthSharing) {
        for (const int row : m_visits) {
            work(row, 0);
        }
        return;
    }
    m_pool.run(static_cast<int>(m_visits.size()), [&](int item, int thread) {
        work(m_visits[static_cast<std::size_t>(item)], thread);
    });
}

void PictureCoder::takeRow(RowState& state, int row, const PictureView& picture) {
    m_kept.takeRow(picture, row);
    state.untaken = false;
    state.stale = true;
    state.changed = true;
}

int PictureCoder::updateRow(RowState& state, int row, RowCoder& coder, const PictureView& picture) {
    const int changed = m_kept.updateRow(picture, row, state.first, state.last, coder.flags());
    state.changed = state.changed || changed > 0;
    return changed;
}

void PictureCoder::codeRow(RowState& state, int row, int thread, const PictureView* picture) {
    RowCoder& coder = m_coders[static_cast<std::size_t>(thread)];
    CodedRow& coded = m_rows[static_cast<std::size_t>(row)];
    int changed = 0;
    if (picture != nullptr && state.untaken) {
        takeRow(state, row, *picture);
    } else if (picture != nullptr) {
        changed = updateRow(state, row, coder, *picture);
    }

    const RowSettings settings{m_kernels, colourMatrixFor(m_kept.width(), m_kept.height()),
                               m_quantiser, codeTables()};
    if (state.stale || changed == m_kept.columns()) {
        coder.code(settings, m_kept, row, coded);
        state.coded = m_kept.columns();
    } else if (changed > 0) {
        coder.recode(settings, m_kept, row, coded);
        state.coded = changed;
    }
    state.stale = false;
}

EncodedPicturePtr PictureCoder::codeRows(const PictureView* picture) {
    forgetCoded();
    runRows([&](int row, int thread) {
        codeRow(m_states[static_cast<std::size_t>(row)], row, thread, picture);
    });
    const bool anyCoded = std::any_of(m_states.begin(), m_states.end(),
                                      [](const RowState& state) { return state.coded > 0; });
    if (anyCoded || !m_packet) {
        m_packet = assembleFrame(m_rows, m_kept.columns() * 16, m_kept.height(),
                                 m_quantiser.quality, m_packets, m_maxSliceBytes);
    }
    return m_packet;
}

}  // namespace speedhq
