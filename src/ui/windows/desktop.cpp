#include "ui/desktop.h"

#include <windows.h>

namespace ui {

bool windowsCanBeTranslucent() {
    return true;
}

void keepOffTaskbar(const QWidget& window) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): Qt hands window handles out as integers.
    const HWND handle = reinterpret_cast<HWND>(window.internalWinId());
    SetWindowLongPtrW(handle, GWL_EXSTYLE,
                      GetWindowLongPtrW(handle, GWL_EXSTYLE) | WS_EX_TOOLWINDOW);
}

bool compositorPlacesWindows() {
    return false;
}

void chooseWindowSystem() {}

}  // namespace ui
