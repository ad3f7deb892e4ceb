#pragma once
// The small stream for receivers that ask for low quality.

#include <cstdint>
#include <memory>
#include <vector>

#include "speedhq/areaaverage.h"
#include "speedhq/stream.h"

namespace speedhq {

/// A frame of the same aspect, at most 640 pixels wide, scaled by area average; made again only
/// where the large one changed. One caller at a time.
class Preview {
public:
    Preview(WorkerPool& pool, const Kernels& kernels)
        : m_pool(pool), m_stream(pool, kernels, previewBudget) {}

    /// The packet for the frame that `main` keeps. `rate` gives the fps.
    [[nodiscard]] EncodedFramePtr encode(IncrementalEncoder& main, const FrameView& rate);

    /// As Stream::encodeReference(), for the frame that `main` keeps.
    [[nodiscard]] EncodedFramePtr encodeReference(IncrementalEncoder& main);

private:
    void adoptShape(const ReferenceFrame& source);
    void scale(IncrementalEncoder& main);
    void scaleLine(const ReferenceFrame& source, int line, std::vector<std::uint16_t>& sums);
    [[nodiscard]] FrameView view() const;

    WorkerPool& m_pool;
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
    support::DirtyRows m_dirtyRows;                  ///< The same, as spans.
};

}  // namespace speedhq
