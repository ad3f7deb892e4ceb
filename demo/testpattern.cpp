#include "testpattern.h"

#include <QLinearGradient>
#include <QPainter>
#include <cmath>

namespace testpattern {
namespace {

constexpr int kCellSize = 16;

QRect rampRect(const QSize& frame) {
    return {0, frame.height() / 3, frame.width(), frame.height() / 6};
}

void paintBars(QPainter& painter, const QSize& size) {
    for (int bar = 0; bar < kBars; ++bar) {
        painter.fillRect(barRect(size, bar), barColour(bar));
    }
}

void paintRamp(QPainter& painter, const QSize& size) {
    const QRect area = rampRect(size);
    QLinearGradient ramp(area.topLeft(), area.topRight());
    ramp.setColorAt(0.0, Qt::black);
    ramp.setColorAt(1.0, Qt::white);
    painter.fillRect(area, ramp);
}

void paintLines(QPainter& painter, const QSize& size) {
    const int top = rampRect(size).bottom() + 1;
    painter.setPen(QColor(200, 200, 200));
    for (int distance = 0; distance < size.width() / 2; distance += 24) {
        painter.drawLine(distance, top, distance + size.height() / 8, top + size.height() / 8);
    }
    painter.setPen(QColor(120, 160, 200));
    painter.drawEllipse(QPoint(size.width() * 3 / 4, top + size.height() / 8), size.height() / 9,
                        size.height() / 9);
}

void paintText(QPainter& painter, const QSize& size) {
    QFont font(QStringLiteral("Liberation Sans"));
    int y = size.height() * 2 / 3;
    for (const int pixels : {12, 16, 24, 40}) {
        font.setPixelSize(pixels);
        painter.setFont(font);
        painter.setPen(QColor(235, 235, 235));
        y += pixels + pixels / 2;
        painter.drawText(16, y,
                         QStringLiteral("The quick brown fox jumps over the lazy dog 0123456789"));
    }
}

void paintCounter(QPainter& painter, int number) {
    for (int bit = 0; bit < kCounterBits; ++bit) {
        painter.fillRect(counterCell(bit), (number >> bit) & 1 ? Qt::white : Qt::black);
    }
}

void paintBall(QPainter& painter, const QSize& size, int number) {
    const double angle = number * 2.0 * 3.14159265358979 / 120.0;
    const QPoint centre(size.width() / 2 + static_cast<int>(std::cos(angle) * size.width() / 3),
                        size.height() / 2 + static_cast<int>(std::sin(angle) * size.height() / 3));
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 140, 0));
    painter.drawEllipse(centre, size.height() / 10, size.height() / 10);
}

}  // namespace

QColor barColour(int bar) {
    const int on = 191;  // 75 % of 255
    // Counting down with green as the highest bit, then red, then blue, gives the usual order of
    // colour bars.
    const int mask = 7 - bar;
    return {(mask & 2) != 0 ? on : 0, (mask & 4) != 0 ? on : 0, (mask & 1) != 0 ? on : 0};
}

QRect barRect(const QSize& frame, int bar) {
    const int left = frame.width() * bar / kBars;
    const int right = frame.width() * (bar + 1) / kBars;
    return {left, 0, right - left, frame.height() / 3};
}

QRect counterCell(int bit) {
    return {(bit + 1) * kCellSize, kCellSize, kCellSize, kCellSize};
}

int readCounter(const QImage& frame) {
    int number = 0;
    for (int bit = 0; bit < kCounterBits; ++bit) {
        const QPoint centre = counterCell(bit).center();
        if (!frame.valid(centre)) {
            return -1;
        }
        const int grey = qGray(frame.pixel(centre));
        if (grey > 64 && grey < 192) {
            return -1;
        }
        number |= (grey >= 192 ? 1 : 0) << bit;
    }
    return number;
}

void paint(QImage& frame, int number, bool moving) {
    QPainter painter(&frame);
    painter.setRenderHint(QPainter::Antialiasing);
    frame.fill(QColor(40, 40, 48));
    paintBars(painter, frame.size());
    paintRamp(painter, frame.size());
    paintLines(painter, frame.size());
    paintText(painter, frame.size());
    if (moving) {
        paintBall(painter, frame.size(), number);
        painter.setRenderHint(QPainter::Antialiasing, false);
        paintCounter(painter, number);
    }
}

}  // namespace testpattern
