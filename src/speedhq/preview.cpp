#include "speedhq/preview.h"

#include <algorithm>

namespace speedhq {

namespace {

constexpr int kWidth = 640;

}  // namespace

EncodedFramePtr Preview::encode(IncrementalEncoder& main, const FrameView& rate) {
    m_rateNumerator = rate.rateNumerator;
    m_rateDenominator = rate.rateDenominator;
    scale(main);
    return m_stream.encode(view(), m_dirtyRows);
}

EncodedFramePtr Preview::encodeReference(IncrementalEncoder& main) {
    if (main.reference().empty()) {
        return nullptr;
    }
    scale(main);
    if (!m_dirtyRows.spans.empty()) {
        return m_stream.encode(view(), m_dirtyRows);
    }
    return m_stream.encodeReference();
}

void Preview::adoptShape(const ReferenceFrame& source) {
    if (m_lines && source.width() == m_sourceWidth && source.height() == m_sourceHeight &&
        source.format() == m_format) {
        return;
    }
    m_format = source.format();
    m_sourceWidth = source.width();
    m_sourceHeight = source.height();
    m_width = std::min(m_sourceWidth, kWidth);
    m_height = std::max(1, (m_sourceHeight * m_width + m_sourceWidth / 2) / m_sourceWidth);
    const bool uyvy = m_format == PixelFormat::Uyvy;
    m_stride = uyvy ? (m_width + 1) / 2 * 4 : m_width * 4;
    m_pixels.assign(static_cast<std::size_t>(m_stride * m_height), 0);
    m_lines = std::make_unique<AreaWeights>(m_sourceHeight, m_height, kLineUnit);
    m_columns = std::make_unique<AreaWeights>(m_sourceWidth, m_width, kColumnUnit);
    m_chromaColumns =
        std::make_unique<AreaWeights>((m_sourceWidth + 1) / 2, (m_width + 1) / 2, kColumnUnit);
    m_sums.assign(static_cast<std::size_t>(m_pool.threads()),
                  std::vector<std::uint16_t>(static_cast<std::size_t>(source.stride())));
    m_changedRows.assign(static_cast<std::size_t>(source.rows()), 1);
}

void Preview::scale(IncrementalEncoder& main) {
    adoptShape(main.reference());
    main.takeChangedMacroblockRows(m_changedRows);
    m_lineList.clear();
    m_dirtyRows.known = true;
    m_dirtyRows.spans.clear();
    for (int line = 0; line < m_height; ++line) {
        const int first = m_lines->first(line);
        const auto firstRow = m_changedRows.begin() + first / 16;
        const auto lastRow = m_changedRows.begin() + (first + m_lines->count(line) - 1) / 16;
        if (std::find(firstRow, lastRow + 1, 1) == lastRow + 1) {
            continue;
        }
        if (!m_lineList.empty() && m_lineList.back() == line - 1) {
            ++m_dirtyRows.spans.back().count;
        } else {
            m_dirtyRows.spans.push_back({line, 1});
        }
        m_lineList.push_back(line);
    }
    std::fill(m_changedRows.begin(), m_changedRows.end(), std::uint8_t{0});
    const ReferenceFrame& source = main.reference();
    m_pool.run(static_cast<int>(m_lineList.size()), [&](int item, int thread) {
        scaleLine(source, m_lineList[static_cast<std::size_t>(item)],
                  m_sums[static_cast<std::size_t>(thread)]);
    });
}

void Preview::scaleLine(const ReferenceFrame& source, int line, std::vector<std::uint16_t>& sums) {
    std::fill(sums.begin(), sums.end(), std::uint16_t{0});
    for (int i = 0; i < m_lines->count(line); ++i) {
        addLine(sums.data(), source.line(m_lines->first(line) + i), sums.size(),
                m_lines->weights(line)[i]);
    }
    std::uint8_t* const target = m_pixels.data() + line * m_stride;
    if (m_format == PixelFormat::Uyvy) {
        averageColumns(sums.data(), *m_columns, {1, 2}, target);
        averageColumns(sums.data(), *m_chromaColumns, {0, 4}, target);
        averageColumns(sums.data(), *m_chromaColumns, {2, 4}, target);
    } else {
        averagePixels(sums.data(), *m_columns, target);
    }
}

FrameView Preview::view() const {
    return {m_format,        m_width,         m_height,         m_stride,
            m_pixels.data(), m_rateNumerator, m_rateDenominator};
}

}  // namespace speedhq
