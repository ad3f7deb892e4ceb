#pragma once
// From pictures to packets at a given quality, doing again only what changed.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "speedhq/frame.h"
#include "speedhq/frameencoder.h"
#include "speedhq/keptpicture.h"
#include "speedhq/macroblockrow.h"
#include "speedhq/packetpool.h"
#include "speedhq/rowpool.h"

namespace speedhq {

/// The packet of a picture is a function of its pixels and its quality alone: neither the history
/// nor the kernels nor the number of threads show in it. One caller at a time.
class PictureCoder {
public:
    PictureCoder(RowPool& pool, const Kernels& kernels, std::size_t maxSliceBytes = kMaxSliceBytes,
                 double rounding = kRounding);

    /// Takes the picture over without coding it.
    void keep(const PictureView& picture, const support::ChangedRows& changed);

    /// Takes the picture over and codes what changed, or all of it when the quality is another one.
    /// The same packet as before when nothing changed, whatever its quality. Null when the picture
    /// does not fit into a packet at this quality; it is kept then all the same.
    [[nodiscard]] EncodedPicturePtr encode(const PictureView& picture,
                                           const support::ChangedRows& changed, int quality);

    /// The packet of the kept picture.
    [[nodiscard]] EncodedPicturePtr encodeKept(int quality);

    /// Whether the latest packet shows the kept picture.
    [[nodiscard]] bool upToDate() const;

    [[nodiscard]] const KeptPicture& kept() const { return m_kept; }

    /// How much of the picture the latest call coded, 0 to 1.
    [[nodiscard]] double codedShare() const;

    /// Sets each[row] of every row of macroblocks that changed since the previous call of this
    /// function to 1, and leaves the others alone.
    void takeChangedRows(std::vector<std::uint8_t>& each);

private:
    /// What a row of macroblocks waits for.
    struct RowState {
        bool stale = true;    ///< Its bits are not those of the kept pixels at this quality.
        bool untaken = true;  ///< Its pixels have not been copied since the shape changed.
        bool changed = true;  ///< For takeChangedRows().
        int first = 0;        ///< The picture lines that may differ: [first, last).
        int last = 0;
        int coded = 0;  ///< Macroblocks coded by the latest call.
    };

    void adoptShape(const PictureView& picture);
    void noteChangedLines(const support::ChangedRows& changed);
    void setQuality(int quality);
    void forgetCoded();
    void runRows(const RowPool::Work& work);
    void takeRow(RowState& state, int row, const PictureView& picture);
    int updateRow(RowState& state, int row, RowCoder& coder, const PictureView& picture);
    void codeRow(RowState& state, int row, int thread, const PictureView* picture);
    [[nodiscard]] EncodedPicturePtr codeRows(const PictureView* picture);

    RowPool& m_pool;
    const Kernels& m_kernels;
    const std::size_t m_maxSliceBytes;
    const double m_rounding;
    KeptPicture m_kept;
    Quantiser m_quantiser{};
    PacketPool m_packets;
    EncodedPicturePtr m_packet;
    std::vector<RowCoder> m_coders;  ///< One per thread.
    std::vector<CodedRow> m_rows;
    std::vector<RowState> m_states;
    std::vector<int> m_visits;  ///< The rows the current call has to look at.
};

}  // namespace speedhq
