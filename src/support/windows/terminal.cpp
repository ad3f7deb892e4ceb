#include "support/terminal.h"

#include <windows.h>

namespace support {

std::optional<int> terminalWidth() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    // Escape sequences work on Windows 10 and later, once switched on.
    if (GetConsoleMode(output, &mode) == 0 ||
        SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) == 0 ||
        GetConsoleScreenBufferInfo(output, &info) == 0) {
        return std::nullopt;
    }
    return info.srWindow.Right - info.srWindow.Left + 1;
}

}  // namespace support
