#include "ui/sourcelabel.h"

#include <QPainter>
#include <algorithm>

namespace {

constexpr int kLight = 10;  ///< Diameter, in pixels.
constexpr int kGap = 6;     ///< Between light and text.
constexpr int kFontPixels = 12;

QColor colourOf(ui::TallyLight light) {
    switch (light) {
        case ui::TallyLight::White:
            return {255, 255, 255};
        case ui::TallyLight::Green:
            return {0, 200, 83};
        case ui::TallyLight::Red:
            return {255, 40, 40};
        default:
            return {120, 120, 120};
    }
}

}  // namespace

SourceLabel::SourceLabel(QWidget* parent) : QWidget(parent) {
    QFont textFont("Microsoft YaHei");
    textFont.setPixelSize(kFontPixels);
    setFont(textFont);
}

void SourceLabel::setDisplay(const ui::SourceDisplay& display) {
    m_display = display;
    setToolTip(display.toolTip);
    update();
}

QSize SourceLabel::sizeHint() const {
    int width = 0;
    for (const QString& line : m_display.text.split('\n')) {
        width = std::max(width, fontMetrics().horizontalAdvance(line));
    }
    return {kLight + kGap + width + 1, 2 * fontMetrics().height()};
}

void SourceLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colourOf(m_display.light));
    painter.drawEllipse(0, (height() - kLight) / 2, kLight, kLight);

    const int left = kLight + kGap;
    QStringList lines = m_display.text.split('\n');
    for (QString& line : lines) {
        line = fontMetrics().elidedText(line, Qt::ElideRight, width() - left);
    }
    painter.setPen(QColor(0xB6, 0xB6, 0xB6));
    painter.drawText(QRect(left, 0, width() - left, height()), Qt::AlignLeft | Qt::AlignVCenter,
                     lines.join('\n'));
}
