#include "ui/desktop.h"

#include <windows.h>

#include "support/log.h"
#include "support/windows/systemcall.h"
#include "ui/captureroi.h"

namespace ui {
namespace {

HWND handleOf(const QWidget& window) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): Qt hands window handles out as integers.
    return reinterpret_cast<HWND>(window.internalWinId());
}

/// Windows 10 version 2004. An earlier one takes the affinity for another that captures the window
/// as a black rectangle.
bool canLeaveWindowsOut() {
    constexpr DWORD kFirstBuild = 19041;
    const auto version =
        support::systemCall<LONG(WINAPI*)(OSVERSIONINFOW*)>(L"ntdll.dll", "RtlGetVersion");
    OSVERSIONINFOW info = {};
    info.dwOSVersionInfoSize = sizeof(info);
    return version != nullptr && version(&info) == 0 && info.dwMajorVersion >= 10 &&
           info.dwBuildNumber >= kFirstBuild;
}

}  // namespace

bool windowsCanBeTranslucent() {
    return true;
}

void keepOffTaskbar(const QWidget& window) {
    const HWND handle = handleOf(window);
    SetWindowLongPtrW(handle, GWL_EXSTYLE,
                      GetWindowLongPtrW(handle, GWL_EXSTYLE) | WS_EX_TOOLWINDOW);
}

bool clicksPassTransparentPixels() {
    return true;  // Layered windows are hit-tested by their alpha.
}

void leaveOutOfCapture(const QWidget& window) {
    constexpr DWORD kExcludeFromCapture = 0x11;
    const auto setAffinity =
        support::systemCall<BOOL(WINAPI*)(HWND, DWORD)>(L"user32.dll", "SetWindowDisplayAffinity");
    static const bool possible = canLeaveWindowsOut();
    if (setAffinity == nullptr || !possible) {
        return;
    }
    static bool told = false;
    if (setAffinity(handleOf(window), kExcludeFromCapture) == FALSE && !told) {
        told = true;
        HV_WARN(
            "the overlay can't be left out of the capture, so receivers see it: "
            "SetWindowDisplayAffinity reports error {}",
            GetLastError());
    }
}

bool compositorPlacesWindows() {
    return false;
}

bool overlayHidesScreen() {
    return false;
}

std::unique_ptr<CaptureROI> makeOverlay(int width, int height) {
    return std::make_unique<CaptureROI>(width, height, nullptr);
}

void chooseWindowSystem() {}

}  // namespace ui
