#pragma once
// From frames to packets at a given quality, doing again only what changed.

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

/// The packet of a frame is a function of its pixels and its quality alone: neither the history
/// nor the kernels nor the number of threads show in it. One caller at a time.
class IncrementalEncoder {
public:
    IncrementalEncoder(WorkerPool& pool, const Kernels& kernels,
                       std::size_t maxSliceBytes = kMaxSliceBytes, double rounding = kRounding);

    /// Takes the frame over without coding it.
    void updateReference(const FrameView& frame, const support::DirtyRows& dirty);

    /// Takes the frame over and codes what changed, or all of it when the quality is another one.
    /// The same packet as before when nothing changed, whatever its quality. Null when the frame
    /// does not fit into a packet at this quality; it is kept then all the same.
    [[nodiscard]] EncodedFramePtr encode(const FrameView& frame, const support::DirtyRows& dirty,
                                         int quality);

    /// The packet of the kept frame.
    [[nodiscard]] EncodedFramePtr encodeReference(int quality);

    /// Whether the latest packet shows the kept frame.
    [[nodiscard]] bool upToDate() const;

    [[nodiscard]] const ReferenceFrame& reference() const { return m_reference; }

    /// How much of the frame the latest call encoded, 0 to 1.
    [[nodiscard]] double encodedShare() const;

    /// Sets each[row] of every row of macroblocks that changed since the previous call of this
    /// function to 1, and leaves the others alone.
    void takeChangedMacroblockRows(std::vector<std::uint8_t>& each);

private:
    /// What a row of macroblocks waits for.
    struct RowState {
        bool stale = true;     ///< Its bits are not those of the kept pixels at this quality.
        bool uncopied = true;  ///< Its pixels have not been copied since the shape changed.
        bool changed = true;   ///< For takeChangedMacroblockRows().
        int first = 0;         ///< The frame lines that may differ: [first, last).
        int last = 0;
        int encoded = 0;  ///< Macroblocks encoded by the latest call.
    };

    void adoptShape(const FrameView& frame);
    void noteDirtyLines(const support::DirtyRows& dirty);
    void setQuality(int quality);
    void forgetEncoded();
    void runRows(const WorkerPool::Work& work);
    void copyRow(RowState& state, int row, const FrameView& frame);
    int updateRow(RowState& state, int row, RowEncoder& encoder, const FrameView& frame);
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
    std::vector<int> m_visits;  ///< The rows the current call has to look at.
};

}  // namespace speedhq
