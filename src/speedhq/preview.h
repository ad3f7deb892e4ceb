#pragma once
// The preview stream, for receivers that ask for low bandwidth.

#include <cstdint>
#include <memory>
#include <vector>

#include "speedhq/areaaverage.h"
#include "speedhq/stream.h"

namespace speedhq {

/// Encodes frames of the same aspect ratio, at most 640 pixels wide, downscaled by area average
/// from the samples of the main stream's reference frame. Only what changed there is scaled again.
/// One caller at a time.
class Preview {
public:
    Preview(WorkerPool& pool, const Kernels& kernels)
        : m_pool(pool), m_stream(pool, kernels, previewBudget) {}

    /// The packet for the reference frame of `main`. Only the frame rate of `rate` is used.
    [[nodiscard]] EncodedFramePtr encode(IncrementalEncoder& main, const FrameView& rate);

    /// Like Stream::encodeReference(), for the reference frame of `main`.
    [[nodiscard]] EncodedFramePtr encodeReference(IncrementalEncoder& main);

private:
    /// A line of a component while it is scaled: the weighted sums of the lines that one output
    /// line covers, then their horizontal means.
    struct Component {
        std::vector<std::uint16_t> sums;
        std::vector<std::uint16_t> means;
    };
    struct ScaledLine {
        Component y;
        Component cb;
        Component cr;
    };

    void adoptShape(const ReferenceFrame& source);
    void scale(IncrementalEncoder& main);
    void scaleLine(const ReferenceFrame& source, int line, ScaledLine& scaled);
    void storeLine(int line, const ScaledLine& scaled);
    [[nodiscard]] FrameView view() const;

    WorkerPool& m_pool;
    Stream m_stream;
    int m_sourceWidth = 0;
    int m_sourceHeight = 0;
    int m_width = 0;
    int m_height = 0;
    int m_rateNumerator = 60;
    int m_rateDenominator = 1;
    ColourChoice m_colours = ColourChoice::Automatic;  ///< Of the source.
    bool m_changeMatrix = false;  ///< The source has another matrix than BT.601, which this has.
    std::ptrdiff_t m_stride = 0;
    std::vector<std::uint8_t> m_pixels;  ///< UYVY.
    std::unique_ptr<AreaWeights> m_lines;
    std::unique_ptr<AreaWeights> m_columns;
    std::unique_ptr<AreaWeights> m_chromaColumns;
    std::vector<ScaledLine> m_scaled;         ///< One per thread.
    std::vector<std::uint8_t> m_changedRows;  ///< Per macroblock row of the source.
    std::vector<int> m_lineList;              ///< The lines to scale again.
    support::DirtyRows m_dirtyRows;           ///< The same lines as spans.
};

}  // namespace speedhq
