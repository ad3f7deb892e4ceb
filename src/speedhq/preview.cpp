#include "speedhq/preview.h"

#include <algorithm>

namespace speedhq {

namespace {

constexpr int kWidth = 640;

/// Two pixels: Cb and Cr as differences from 128, all components in units of 1 / kLineUnit.
struct Samples {
    int left;
    int right;
    int cb;
    int cr;
};

/// What Cb and Cr of another matrix add to a component of BT.601, scaled by 2^14. Greys do not
/// change.
struct Change {
    int yCb, yCr;
    int cbCb, cbCr;
    int crCb, crCr;
};
constexpr Change kFromBt709 = {1627, 3141, 16218, -1813, -1187, 16112};
constexpr Change kFromBt2020 = {1888, 1690, 16306, -976, -1378, 15999};

Samples bt601From(const Change& change, Samples s) {
    constexpr int kHalf = 1 << 13;
    const int brighter = (change.yCb * s.cb + change.yCr * s.cr + kHalf) >> 14;
    return {s.left + brighter, s.right + brighter,
            (change.cbCb * s.cb + change.cbCr * s.cr + kHalf) >> 14,
            (change.crCb * s.cb + change.crCr * s.cr + kHalf) >> 14};
}

std::uint8_t rounded(int value) {
    return static_cast<std::uint8_t>(std::clamp((value + kLineUnit / 2) / kLineUnit, 0, 255));
}

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
        source.colours() == m_colours) {
        return;
    }
    m_sourceWidth = source.width();
    m_sourceHeight = source.height();
    m_width = std::min(m_sourceWidth, kWidth);
    m_height = std::max(1, (m_sourceHeight * m_width + m_sourceWidth / 2) / m_sourceWidth);
    m_colours = source.colours();
    m_changeMatrix = m_colours != ColourChoice::Bt601 &&
                     !isStandardDefinition(m_sourceWidth, m_sourceHeight) &&
                     isStandardDefinition(m_width, m_height);
    const int chromaWidth = (m_width + 1) / 2;
    m_stride = chromaWidth * 4;
    m_pixels.assign(static_cast<std::size_t>(m_stride * m_height), 0);
    m_lines = std::make_unique<AreaWeights>(m_sourceHeight, 1, m_height, kLineUnit);
    m_columns = std::make_unique<AreaWeights>(m_sourceWidth, 1, m_width, kColumnUnit);
    // A frame that is not scaled keeps its chroma samples, also when its width is odd.
    const int chromaExtent = m_width == m_sourceWidth ? chromaWidth * 2 : m_sourceWidth;
    m_chromaColumns = std::make_unique<AreaWeights>(chromaExtent, 2, chromaWidth, kColumnUnit);
    const auto component = [](int inputs, int outputs) {
        return Component{std::vector<std::uint16_t>(static_cast<std::size_t>(inputs)),
                         std::vector<std::uint16_t>(static_cast<std::size_t>(outputs))};
    };
    // An odd width leaves the second luma sample of the last group undefined: give it a place.
    m_scaled.assign(static_cast<std::size_t>(m_pool.threads()),
                    {component(source.columns() * 16, chromaWidth * 2),
                     component(source.columns() * 8, chromaWidth),
                     component(source.columns() * 8, chromaWidth)});
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
        const auto lastRow = m_changedRows.begin() + (first + m_lines->inputs() - 1) / 16;
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
                  m_scaled[static_cast<std::size_t>(thread)]);
    });
}

void Preview::scaleLine(const ReferenceFrame& source, int line, ScaledLine& scaled) {
    for (Component* const component : {&scaled.y, &scaled.cb, &scaled.cr}) {
        std::fill(component->sums.begin(), component->sums.end(), std::uint16_t{0});
    }
    for (int i = 0; i < m_lines->inputs(); ++i) {
        const int y = m_lines->first(line) + i;
        const MacroblockSamples* const row = source.row(y / 16);
        for (int column = 0; column < source.columns(); ++column) {
            const std::uint8_t* const chroma = row[column].chromaLine(y % 16);
            const unsigned weight = m_lines->weights(line)[i];
            addSamples<16>(&scaled.y.sums[static_cast<std::size_t>(column) * 16],
                           row[column].lumaLine(y % 16), weight);
            addSamples<8>(&scaled.cb.sums[static_cast<std::size_t>(column) * 8], chroma, weight);
            addSamples<8>(&scaled.cr.sums[static_cast<std::size_t>(column) * 8], chroma + 8,
                          weight);
        }
    }
    averageColumns(scaled.y.sums.data(), *m_columns, scaled.y.means.data());
    averageColumns(scaled.cb.sums.data(), *m_chromaColumns, scaled.cb.means.data());
    averageColumns(scaled.cr.sums.data(), *m_chromaColumns, scaled.cr.means.data());
    storeLine(line, scaled);
}

void Preview::storeLine(int line, const ScaledLine& scaled) {
    constexpr int kMiddle = 128 * kLineUnit;
    const Change& change = m_colours == ColourChoice::Bt2020 ? kFromBt2020 : kFromBt709;
    std::uint8_t* group = m_pixels.data() + line * m_stride;
    for (std::size_t i = 0; i < scaled.cb.means.size(); ++i, group += 4) {
        Samples samples{scaled.y.means[2 * i], scaled.y.means[2 * i + 1],
                        scaled.cb.means[i] - kMiddle, scaled.cr.means[i] - kMiddle};
        if (m_changeMatrix) {
            samples = bt601From(change, samples);
        }
        group[0] = rounded(samples.cb + kMiddle);
        group[1] = rounded(samples.left);
        group[2] = rounded(samples.cr + kMiddle);
        group[3] = rounded(samples.right);
    }
}

FrameView Preview::view() const {
    FrameView view{PixelFormat::Uyvy, m_width, m_height, m_stride, m_pixels.data()};
    view.rateNumerator = m_rateNumerator;
    view.rateDenominator = m_rateDenominator;
    return view;
}

}  // namespace speedhq
