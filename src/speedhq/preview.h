#pragma once
// The small stream for receivers that ask for low quality.

#include <cstdint>
#include <memory>
#include <vector>

#include "speedhq/areaaverage.h"
#include "speedhq/stream.h"

namespace speedhq {

/// A picture of the same aspect, at most 640 pixels wide, scaled by area average; made again only
/// where the large one changed. One caller at a time.
class Preview {
public:
    Preview(RowPool& pool, const Kernels& kernels)
        : m_pool(pool), m_stream(pool, kernels, previewBudget) {}

    /// The packet for the picture that `full` keeps. `rate` gives the pictures a second.
    [[nodiscard]] EncodedPicturePtr encode(PictureCoder& full, const PictureView& rate);

    /// As Stream::encodeKept(), for the picture that `full` keeps.
    [[nodiscard]] EncodedPicturePtr encodeKept(PictureCoder& full);

private:
    void adoptShape(const KeptPicture& source);
    void scale(PictureCoder& full);
    void scaleLine(const KeptPicture& source, int line, std::vector<std::uint16_t>& sums);
    [[nodiscard]] PictureView view() const;

    RowPool& m_pool;
    Stream m_stream;
    PixelFormat m_format = PixelFormat::Bgra;
    int m_sourceWidth = 0;
    int m_sourceHeight = 0;
    int m_width = 0;
    int m_height = 0;
    int m_rateNumerator = 60;
    int m_rateDenominator = 1;
    std::ptrdiff_t m_stride = 0;
    std::vector<std::uint8_t> m_pixels;
    std::unique_ptr<AreaWeights> m_lines;
    std::unique_ptr<AreaWeights> m_columns;
    std::unique_ptr<AreaWeights> m_chromaColumns;    ///< UYVY only.
    std::vector<std::vector<std::uint16_t>> m_sums;  ///< One line, for each thread.
    std::vector<std::uint8_t> m_changedRows;         ///< Of the source, in macroblocks.
    std::vector<int> m_lineList;                     ///< Lines to scale again.
    support::ChangedRows m_changed;                  ///< The same, as spans.
};

}  // namespace speedhq
