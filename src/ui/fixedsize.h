#pragma once

#include <QWidget>

namespace ui {

/// Gives a window a fixed size in device-independent pixels. It keeps that size when it is moved to
/// a screen with another scale factor, where Qt by itself keeps the size in physical pixels.
void fixSize(QWidget& window, QSize size);

}  // namespace ui
