#pragma once

#include <QComboBox>
#include <QPainter>

/// A combo box that shows the keyboard focus by an inner outline. A style sheet suppresses the
/// style's own focus mark.
class FocusComboBox : public QComboBox {
    Q_OBJECT

public:
    using QComboBox::QComboBox;

protected:
    void paintEvent(QPaintEvent* event) override {
        QComboBox::paintEvent(event);
        if (hasFocus()) {
            QPainter painter(this);
            painter.setPen(QColor(0xFF, 0x6D, 0x00));
            painter.drawRect(rect().adjusted(2, 2, -3, -3));
        }
    }
};
