#pragma once
// Similarity of two images.

#include <QImage>
#include <QRect>

namespace tests {

/// Peak signal-to-noise ratio of the luma (BT.709) in dB: 100 for equal images, -1 for different
/// sizes.
[[nodiscard]] double lumaPsnr(const QImage& a, const QImage& b);

/// The largest difference of any channel of any pixel inside `area`.
[[nodiscard]] int largestDifference(const QImage& a, const QImage& b, const QRect& area);

/// The smallest rectangle around all pixels that differ; null for equal images.
[[nodiscard]] QRect differingPart(const QImage& a, const QImage& b);

}  // namespace tests
