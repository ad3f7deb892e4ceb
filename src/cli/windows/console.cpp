#include <windows.h>

#include <io.h>

#include <cerrno>

#include "cli/platform.h"

namespace cli {
namespace {

std::optional<int> widthOf(HANDLE output) {
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

}  // namespace

Console::Console() : m_descriptor(_dup(1)), m_width(widthOf(GetStdHandle(STD_OUTPUT_HANDLE))) {
    _dup2(2, 1);
}

bool Console::write(const std::string& text, std::chrono::milliseconds /*patience*/) const {
    return _write(m_descriptor, text.data(), static_cast<unsigned>(text.size())) >= 0;
}

}  // namespace cli
