#pragma once

#include <QString>

#include "capture/screencapturer.h"

namespace ui {

/// What the operator has to know about the capture, in the current language. What the system says
/// about it follows in English. Empty while there is nothing to say.
[[nodiscard]] QString captureNote(const CaptureStatus& status);

}  // namespace ui
