#pragma once
// The test pattern: what it shows and where, so that a test can look for it in a received frame.

#include <QColor>
#include <QImage>
#include <QRect>
#include <QSize>
#include <array>

namespace testpattern {

/// The colour bars, left to right: grey to blue as on every test card, at 75 %.
inline constexpr int kBars = 8;
[[nodiscard]] QColor barColour(int bar);
[[nodiscard]] QRect barRect(const QSize& frame, int bar);

/// The frame number, shown as cells of black (0) and white (1), lowest bit first.
inline constexpr int kCounterBits = 16;
[[nodiscard]] QRect counterCell(int bit);
/// The number that `frame` shows; -1 where the cells can't be read.
[[nodiscard]] int readCounter(const QImage& frame);

/// Paints frame `number`: bars, grey ramp, fine lines, text; with `moving` also the counter and a
/// ball that goes around, both derived from `number` alone.
void paint(QImage& frame, int number, bool moving);

}  // namespace testpattern
