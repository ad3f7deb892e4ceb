#pragma once
// How alike two frames are.

#include <QImage>
#include <QRect>

namespace tests {

/// Peak signal-to-noise ratio of the luma (BT.709), in decibels; 100 when equal. Frames of
/// different sizes give -1.
[[nodiscard]] double lumaPsnr(const QImage& a, const QImage& b);

/// The largest difference of any channel of any pixel inside `area`.
[[nodiscard]] int largestDifference(const QImage& a, const QImage& b, const QRect& area);

}  // namespace tests
