#pragma once
// Encodes frames at a given quality. Only what changed is encoded again.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "speedhq/frameencoder.h"
#include "speedhq/macroblockrow.h"
#include "speedhq/packetassembly.h"
#include "speedhq/packetpool.h"
#include "speedhq/referenceframe.h"
#include "speedhq/workerpool.h"

namespace speedhq {

/// A packet depends on the frame's pixels and the quality alone, not on earlier frames, the kernels
/// or the number of threads. One caller at a time.
class IncrementalEncoder {
public:
    IncrementalEncoder(WorkerPool& pool, const Kernels& kernels,
                       std::size_t maxSliceBytes = kMaxSliceBytes, double rounding = kRounding);

    /// Makes the frame the reference frame without encoding it.
    void updateReference(const FrameView& frame, const support::DirtyRows& dirty);

    /// Makes the frame the reference frame and encodes what changed, or all of it when the quality
    /// changes. Returns the same packet as before when nothing changed, whatever its quality. Null
    /// when the frame does not fit into a packet at this quality; it is the reference frame anyway.
    [[nodiscard]] EncodedFramePtr encode(const FrameView& frame, const support::DirtyRows& dirty,
                                         int quality);

    /// The packet of the reference frame, encoded where necessary. Null when there is none, or when
    /// it does not fit.
    [[nodiscard]] EncodedFramePtr encodeReference(int quality);

    /// Whether the latest packet shows the reference frame.
    [[nodiscard]] bool upToDate() const;

    [[nodiscard]] const ReferenceFrame& reference() const { return m_reference; }

    /// The share of the frame that the latest call encoded, 0 to 1.
    [[nodiscard]] double encodedShare() const;

    /// Sets each[row] to 1 for every macroblock row that changed since the previous call of this
    /// function, and leaves the other elements unchanged.
    void takeChangedMacroblockRows(std::vector<std::uint8_t>& each);

private:
    /// The state of one macroblock row.
    struct RowState {
        bool stale = true;    ///< Its bits do not match the reference frame and the quality.
        bool unset = true;    ///< Without samples since the frame size or format changed.
        bool changed = true;  ///< For takeChangedMacroblockRows().
        int encoded = 0;      ///< Macroblocks encoded by the latest call.
        ReferenceFrame::Part dirty;
    };

    void adoptShape(const FrameView& frame);
    void noteDirtyParts(const support::DirtyRows& dirty);
    void noteSpan(const support::RowSpan& span);
    void listVisits();
    void setQuality(int quality);
    void forgetEncoded();
    void runRows(const WorkerPool::Work& work);
    int updateRow(RowState& state, int row, int thread, const FrameView& frame);
    void encodeRow(RowState& state, int row, int thread, const FrameView* frame);
    [[nodiscard]] EncodedFramePtr encodeRows(const FrameView* frame);

    WorkerPool& m_pool;
    const Kernels& m_kernels;
    const std::size_t m_maxSliceBytes;
    const double m_rounding;
    ReferenceFrame m_reference;
    Quantiser m_quantiser{};
    PacketPool m_packets;
    EncodedFramePtr m_packet;
    std::vector<RowEncoder> m_rowEncoders;  ///< One per thread.
    std::vector<EncodedRow> m_rows;
    std::vector<RowState> m_states;
    std::vector<int> m_visits;   ///< The rows that the current call processes,
    int m_visitMacroblocks = 0;  ///< and their macroblocks.
};

}  // namespace speedhq
