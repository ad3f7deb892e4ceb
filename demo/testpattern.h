#pragma once
// The test pattern, and the position of its parts, so that tests can find them in a received frame.

#include <QColor>
#include <QImage>
#include <QRect>
#include <QSize>
#include <array>

namespace testpattern {

/// The 75 % colour bars, from grey on the left to black on the right.
inline constexpr int kBars = 8;
[[nodiscard]] QColor barColour(int bar);
[[nodiscard]] QRect barRect(const QSize& frame, int bar);

/// The frame number is painted as cells of black (0) and white (1), lowest bit first.
inline constexpr int kCounterBits = 16;
[[nodiscard]] QRect counterCell(int bit);
/// The frame number painted in `frame`; -1 if a cell is neither black nor white.
[[nodiscard]] int readCounter(const QImage& frame);

/// Paints frame `number`: bars, grey ramp, fine lines, text; with `moving` also the frame number
/// and a circling ball. Depends on `number` alone.
void paint(QImage& frame, int number, bool moving);

}  // namespace testpattern
